// ZipStream.cpp - the archive as a body source: headers, file data read through a bounded
// buffer with its CRC-32 taken on the way, descriptors, then the central directory in batches.
#include "protocol/ZipStream.h"

#include "protocol/ZipRecords.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <libdeflate.h>
#include <unistd.h>

namespace {

// Central directory entries are sent in batches of about this many bytes.
constexpr size_t kDirectoryBatch = 64 << 10;

bool sameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

class ZipStream final : public HttpBodySource {
  public:
    explicit ZipStream(std::vector<ZipMember> members);
    ~ZipStream() override { closeFile(); }
    ZipStream(const ZipStream&) = delete;
    ZipStream& operator=(const ZipStream&) = delete;

    uint64_t length() const override { return length_; }
    bool next(std::string_view& bytes) override;

  private:
    enum class Step { Header, Data, Descriptor, Directory, End, Done };

    bool openFile();
    bool nextData(std::string_view& bytes);
    bool finishData();
    void closeFile();
    bool fail(const char* what);

    std::vector<ZipMember> members_;
    std::vector<ZipEntry> entries_;
    uint64_t length_ = 0, directoryOffset_ = 0, directorySize_ = 0;
    Step step_ = Step::Header;
    size_t index_ = 0;   // the member being sent, then the next directory entry
    uint64_t done_ = 0;  // bytes of the member's data given out
    uint32_t crc_ = 0;   // of those bytes
    int fd_ = -1;        // the member's file while it is read
    struct stat opened_; // that file when it was opened
    std::string records_;
    std::unique_ptr<char[]> buffer_;
};

ZipStream::ZipStream(std::vector<ZipMember> members) : members_(std::move(members)) {
    entries_.reserve(members_.size());
    std::string scratch;
    uint64_t offset = 0;
    for (const ZipMember& member : members_) {
        ZipEntry entry;
        entry.name = member.name;
        entry.size = member.path.empty() ? member.bytes.size() : uint64_t(member.info.st_size);
        entry.offset = offset;
        ZipDosTime(member.path.empty() ? member.madeAt : member.info.st_mtime, entry.dosTime,
                   entry.dosDate);
        scratch.clear();
        ZipAppendLocalHeader(scratch, entry);
        ZipAppendDataDescriptor(scratch, entry);
        offset += scratch.size() + entry.size;
        entries_.push_back(std::move(entry));
    }
    directoryOffset_ = offset;
    for (const ZipEntry& entry : entries_) {
        scratch.clear();
        ZipAppendCentralEntry(scratch, entry);
        directorySize_ += scratch.size();
    }
    scratch.clear();
    ZipAppendEnd(scratch, entries_.size(), directoryOffset_, directorySize_);
    length_ = directoryOffset_ + directorySize_ + scratch.size();
}

bool ZipStream::fail(const char* what) {
    printf("'%s' %s while the album was being sent; closing the connection\n",
           members_[index_].path.c_str(), what);
    closeFile();
    step_ = Step::Done;
    return false;
}

void ZipStream::closeFile() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
}

// Opens the member's file, which must still be the one that was checked.
bool ZipStream::openFile() {
    const ZipMember& member = members_[index_];
    do {
        fd_ = open(member.path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    } while (fd_ < 0 && errno == EINTR);
    if (fd_ < 0) return fail("could not be opened");
    const struct stat& then = member.info;
    if (fstat(fd_, &opened_) != 0 || !S_ISREG(opened_.st_mode) || opened_.st_dev != then.st_dev ||
        opened_.st_ino != then.st_ino || opened_.st_size != then.st_size ||
        !sameTime(opened_.st_mtim, then.st_mtim))
        return fail("was replaced or changed");
    return true;
}

// The member's data is all out: it must not have changed while it was read.
bool ZipStream::finishData() {
    if (fd_ >= 0) {
        struct stat now;
        if (fstat(fd_, &now) != 0 || now.st_size != opened_.st_size ||
            !sameTime(now.st_mtim, opened_.st_mtim) || !sameTime(now.st_ctim, opened_.st_ctim))
            return fail("changed");
        closeFile();
    }
    entries_[index_].crc = crc_;
    step_ = Step::Descriptor;
    return true;
}

bool ZipStream::nextData(std::string_view& bytes) {
    const ZipMember& member = members_[index_];
    uint64_t size = entries_[index_].size;
    if (member.path.empty()) {
        bytes = member.bytes;
    } else {
        if (!buffer_) buffer_.reset(new char[kZipPieceBytes]);
        size_t want = size_t(std::min<uint64_t>(kZipPieceBytes, size - done_));
        ssize_t got;
        do {
            got = pread(fd_, buffer_.get(), want, off_t(done_));
        } while (got < 0 && errno == EINTR);
        if (got < 0) return fail("could not be read");
        if (got == 0) return fail("shrank");
        bytes = std::string_view(buffer_.get(), size_t(got));
    }
    crc_ = uint32_t(libdeflate_crc32(crc_, bytes.data(), bytes.size()));
    done_ += bytes.size();
    return true;
}

bool ZipStream::next(std::string_view& bytes) {
    records_.clear();
    for (;;) {
        switch (step_) {
        case Step::Header:
            if (index_ == entries_.size()) {
                step_ = Step::Directory;
                index_ = 0;
                continue;
            }
            ZipAppendLocalHeader(records_, entries_[index_]);
            done_ = 0;
            crc_ = 0;
            step_ = Step::Data;
            if (!members_[index_].path.empty() && !openFile()) return false;
            bytes = records_;
            return true;
        case Step::Data:
            if (done_ == entries_[index_].size) {
                if (!finishData()) return false;
                continue;
            }
            return nextData(bytes);
        case Step::Descriptor:
            ZipAppendDataDescriptor(records_, entries_[index_]);
            ++index_;
            step_ = Step::Header;
            bytes = records_;
            return true;
        case Step::Directory:
            while (index_ < entries_.size() && records_.size() < kDirectoryBatch)
                ZipAppendCentralEntry(records_, entries_[index_++]);
            if (index_ == entries_.size()) step_ = Step::End;
            if (records_.empty()) continue;
            bytes = records_;
            return true;
        case Step::End:
            ZipAppendEnd(records_, entries_.size(), directoryOffset_, directorySize_);
            step_ = Step::Done;
            bytes = records_;
            return true;
        case Step::Done:
            return false;
        }
    }
}

} // namespace

std::unique_ptr<HttpBodySource> ZipStreamCreate(std::vector<ZipMember> members) {
    return std::make_unique<ZipStream>(std::move(members));
}
