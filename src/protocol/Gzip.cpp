// Gzip.cpp - Accept-Encoding negotiation, zlib compression and the compressed-body cache.
#include "protocol/Gzip.h"
#include "protocol/HeaderText.h"

#include "protocol/Validators.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <strings.h>
#include <unistd.h>
#include <zlib.h>

namespace {

bool sameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// A qvalue: "0" or "1", optionally followed by "." and up to three digits, at most 1.
bool qvalue(std::string_view text, double& q) {
    if (text.empty() || (text[0] != '0' && text[0] != '1')) return false;
    if (text.size() > 1 && (text[1] != '.' || text.size() > 5)) return false;
    double value = text[0] - '0', scale = 0.1;
    for (size_t i = 2; i < text.size(); ++i, scale /= 10) {
        if (text[i] < '0' || text[i] > '9') return false;
        value += (text[i] - '0') * scale;
    }
    if (value > 1.0) return false;
    q = value;
    return true;
}

// Reads length bytes of fd from offset.
bool readSlice(int fd, uint64_t offset, uint64_t length, std::string& bytes) {
    bytes.resize(length);
    uint64_t done = 0;
    while (done < length) {
        ssize_t n = pread(fd, bytes.data() + done, length - done, off_t(offset + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += uint64_t(n);
    }
    return true;
}

std::string etagKey(std::string_view etag, uint64_t length, std::string_view contentType) {
    std::string key;
    key.reserve(etag.size() + contentType.size() + 24);
    key.append(etag).append("|").append(std::to_string(length)).append("|").append(contentType);
    return key;
}

std::string bytesKey(std::string_view bytes) {
    char text[48];
    snprintf(text, sizeof text, "#%zx|%zu", std::hash<std::string_view>()(bytes), bytes.size());
    return text;
}

} // namespace

bool AcceptsGzip(std::string_view acceptEncoding) {
    int gzip = -1, any = -1; // -1: not listed; else whether its q-value is above 0
    while (!acceptEncoding.empty()) {
        size_t comma = acceptEncoding.find(',');
        std::string_view member = acceptEncoding.substr(0, comma);
        acceptEncoding.remove_prefix(comma == std::string_view::npos ? acceptEncoding.size()
                                                                     : comma + 1);
        size_t semicolon = member.find(';');
        std::string_view name = trim(member.substr(0, semicolon));
        double q = 1.0;
        bool valid = true;
        while (semicolon != std::string_view::npos) {
            member.remove_prefix(semicolon + 1);
            semicolon = member.find(';');
            std::string_view parameter = trim(member.substr(0, semicolon));
            size_t equals = parameter.find('=');
            if (equals == std::string_view::npos) continue;
            if (sameName(trim(parameter.substr(0, equals)), "q") &&
                !qvalue(trim(parameter.substr(equals + 1)), q))
                valid = false;
        }
        if (!valid || name.empty()) continue;
        if (sameName(name, "gzip") || sameName(name, "x-gzip"))
            gzip = gzip == 1 ? 1 : q > 0; // listed twice: either permission counts
        else if (name == "*")
            any = q > 0;
    }
    return gzip >= 0 ? gzip == 1 : any == 1;
}

bool IsCompressibleType(std::string_view contentType) {
    std::string_view type = trim(contentType.substr(0, contentType.find(';')));
    if (type.size() > 5 && strncasecmp(type.data(), "text/", 5) == 0) return true;
    for (std::string_view name :
         {"application/javascript", "application/x-javascript", "application/ecmascript",
          "application/json", "application/xml", "application/xhtml+xml", "image/svg+xml",
          "application/rss+xml", "application/atom+xml"})
        if (sameName(type, name)) return true;
    return false;
}

std::string GzipCompress(std::string_view bytes) {
    z_stream stream = {};
    // windowBits 15 + 16: a gzip wrapper, with no name and time 0 in its header.
    if (deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::bad_alloc();
    std::string out;
    out.resize(deflateBound(&stream, uLong(bytes.size())));
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = uInt(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    int status = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    if (status != Z_STREAM_END) throw std::bad_alloc(); // the bound makes this impossible
    return out;
}

// --- GzipCache ------------------------------------------------------------------------------

std::shared_ptr<const std::string> GzipCache::find(std::string_view etag, uint64_t length,
                                                   std::string_view contentType) {
    return _find(etagKey(etag, length, contentType), nullptr);
}

void GzipCache::store(std::string_view etag, uint64_t length, std::string_view contentType,
                      std::shared_ptr<const std::string> gzip) {
    _store(etagKey(etag, length, contentType), std::string(), std::move(gzip));
}

std::shared_ptr<const std::string> GzipCache::find(std::string_view bytes) {
    return _find(bytesKey(bytes), &bytes);
}

void GzipCache::store(std::string_view bytes, std::shared_ptr<const std::string> gzip) {
    _store(bytesKey(bytes), std::string(bytes), std::move(gzip));
}

std::shared_ptr<const std::string> GzipCache::_find(const std::string& key,
                                                    const std::string_view* bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = index_.find(key);
    if (found == index_.end()) return nullptr;
    if (bytes && found->second->source != *bytes) return nullptr;
    order_.splice(order_.begin(), order_, found->second);
    return found->second->gzip;
}

void GzipCache::_store(std::string key, std::string source,
                       std::shared_ptr<const std::string> gzip) {
    // Room for the list node and the index slot besides the bytes.
    size_t cost = key.size() + source.size() + gzip->size() + 128;
    if (cost > capacity_ / 8) return;
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = index_.find(key);
    if (found != index_.end()) { // another thread compressed it too, or a colliding hash
        bytes_ -= found->second->cost;
        auto old = found->second;
        index_.erase(found);
        order_.erase(old);
    }
    order_.push_front(Entry{std::move(key), std::move(gzip), std::move(source), cost});
    index_.emplace(order_.front().key, order_.begin());
    bytes_ += cost;
    while (bytes_ > capacity_) {
        Entry& last = order_.back();
        bytes_ -= last.cost;
        index_.erase(last.key);
        order_.pop_back();
    }
}

size_t GzipCache::bytes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return bytes_;
}

size_t GzipCache::entries() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return order_.size();
}

// --- The request step's part ----------------------------------------------------------------

bool PrepareGzip(const RequestHeaders& request, HttpReply& reply) {
    if (reply.status() != 200 || reply.header("Content-Encoding")) return false;
    const std::string* type = reply.header("Content-Type");
    uint64_t length = reply.bodyLength();
    if (!type || !IsCompressibleType(*type) || length < kGzipMinBytes || length > kGzipMaxBytes)
        return false;
    if (const std::string* vary = reply.header("Vary")) {
        if (vary->find("Accept-Encoding") == std::string::npos)
            reply.setHeader("Vary", *vary + ", Accept-Encoding");
    } else {
        reply.setHeader("Vary", "Accept-Encoding");
    }
    if (!request.acceptEncoding || !AcceptsGzip(*request.acceptEncoding)) return false;
    if (const std::string* etag = reply.header("ETag")) reply.setHeader("ETag", GzipETag(*etag));
    return true;
}

void CompressReply(HttpReply& reply, GzipCache& cache) {
    // Only a file's tag names one body: made replies may share a tag between addresses (every
    // JSON reply carries the tag of the preferences and album files), so they go by their bytes.
    const std::string* etag = reply.fileBody() ? reply.header("ETag") : nullptr;
    std::string type = *reply.header("Content-Type");
    uint64_t length = reply.bodyLength();
    std::shared_ptr<const std::string> gzip;
    if (etag) gzip = cache.find(*etag, length, type);
    if (!gzip) {
        std::string fileBytes;
        std::string_view bytes = reply.body();
        if (const HttpReply::FileSlice* file = reply.fileBody()) {
            if (!readSlice(file->fd, file->offset, file->length, fileBytes)) {
                puts("a file could not be read for compression");
                reply.clearBody();
                reply.setStatus(500);
                for (const char* name : {"ETag", "Last-Modified", "Cache-Control", "Vary"})
                    reply.removeHeader(name);
                return;
            }
            bytes = fileBytes;
        }
        if (!etag) gzip = cache.find(bytes);
        if (!gzip) {
            gzip = std::make_shared<const std::string>(GzipCompress(bytes));
            if (etag)
                cache.store(*etag, length, type, gzip);
            else
                cache.store(bytes, gzip);
        }
    }
    reply.setSharedBody(std::move(gzip));
    reply.setHeader("Content-Encoding", "gzip");
}
