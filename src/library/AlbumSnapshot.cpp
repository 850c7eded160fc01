// AlbumSnapshot.cpp - building the indexes and records of one album file, and the lookups.
#include "library/AlbumSnapshot.h"
#include "library/ThrownBy.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace {

constexpr uint32_t kNone = std::numeric_limits<uint32_t>::max();

bool isA(CFTypeRef value, CFTypeID type) {
    return value && CFGetTypeID(value) == type;
}

CFTypeRef valueOf(CFDictionaryRef dict, CFStringRef key) {
    return CFDictionaryGetValue(dict, key);
}

uint32_t leadingDigits(CFTypeRef version) {
    if (!isA(version, kCFStringTypeID)) return 0;
    auto text = static_cast<CFStringRef>(version);
    uint32_t major = 0;
    CFIndex length = CFStringGetLength(text);
    for (CFIndex i = 0; i < length; ++i) {
        UniChar c = CFStringGetCharacterAtIndex(text, i);
        if (c < '0' || c > '9') break;
        major = major * 10 + uint32_t(c - '0');
    }
    return major;
}

CFStringRef archivePathOf(CFDictionaryRef root) {
    CFTypeRef value = valueOf(root, CFSTR("Archive Path"));
    return isA(value, kCFStringTypeID) ? static_cast<CFStringRef>(value) : nullptr;
}

// The record of a photo whose every listed key is present with its type, else null. Agrees
// with AlbumSnapshot::makeRecord, which throws exactly when this answers null.
std::optional<PhotoInfo> completeRecord(CFStringRef key, CFDictionaryRef photo,
                                        const PathRemap& paths) {
    CFTypeRef image = valueOf(photo, CFSTR("ImagePath")),
              original = valueOf(photo, CFSTR("OriginalPath")),
              thumb = valueOf(photo, CFSTR("ThumbPath")),
              date = valueOf(photo, CFSTR("DateAsTimerInterval")),
              modDate = valueOf(photo, CFSTR("ModDateAsTimerInterval")),
              metaModDate = valueOf(photo, CFSTR("MetaModDateAsTimerInterval")),
              mediaType = valueOf(photo, CFSTR("MediaType")),
              caption = valueOf(photo, CFSTR("Caption")),
              comment = valueOf(photo, CFSTR("Comment"));
    if (!isA(image, kCFStringTypeID) || (original && !isA(original, kCFStringTypeID)) ||
        !isA(thumb, kCFStringTypeID) || !isA(date, kCFNumberTypeID) ||
        !isA(modDate, kCFNumberTypeID) || !isA(metaModDate, kCFNumberTypeID) ||
        !isA(mediaType, kCFStringTypeID) || !isA(caption, kCFStringTypeID) ||
        !isA(comment, kCFStringTypeID))
        return std::nullopt;
    LibraryPath imagePath = paths.map(static_cast<CFStringRef>(image));
    std::optional<PhotoInfo> info(
        std::in_place, paths.map(static_cast<CFStringRef>(thumb)), imagePath,
        original ? paths.map(static_cast<CFStringRef>(original)) : imagePath);
    info->id = CFStringGetIntValue(key);
    info->date = CFNumber_t(date, CFNumber_t::Get);
    info->modDate = CFNumber_t(modDate, CFNumber_t::Get);
    info->metaModDate = CFNumber_t(metaModDate, CFNumber_t::Get);
    info->fileName = imagePath.lastComponent();
    info->mediaType = CFString_t(mediaType, CFString_t::Get);
    info->caption = CFString_t(caption, CFString_t::Get);
    info->comment = CFString_t(comment, CFString_t::Get);
    return info;
}

} // namespace

struct AlbumSnapshot::Album {
    CFDictionaryRef dict;
    unsigned id;
    CFArrayRef keys = nullptr;     // "KeyList" when it is an array
    size_t readableKeys = 0;       // keys before the first one that is not a string
    std::vector<uint32_t> records; // record number of each readable key, or kNone
    std::vector<std::pair<unsigned, uint32_t>> byPhoto; // (photo id, position), ascending
    bool listable = false;                              // every key readable, every record complete
};

const PhotoInfo& AlbumPhotos::operator[](size_t position) const {
    return *snapshot_->records_[records_[position]].info;
}

AlbumSnapshot::AlbumSnapshot(CFDictionaryRef root, const std::string& folder)
    : root_(root), majorVersion_(leadingDigits(valueOf(root, CFSTR("Application Version")))),
      paths_(archivePathOf(root), folder) {
    CFTypeRef master = valueOf(root, CFSTR("Master Image List"));
    if (isA(master, kCFDictionaryTypeID)) master_ = static_cast<CFDictionaryRef>(master);
    indexAlbums();
    std::unordered_map<CFDictionaryRef, uint32_t> numbers;
    if (master_) {
        // Records never move once made: room for every photo is reserved up front (a photo
        // dictionary is found under one key only, so there are never more records).
        records_.reserve(size_t(CFDictionaryGetCount(master_)));
        numbers.reserve(records_.capacity());
    }
    for (Album& album : albums_)
        indexKeys(album, numbers);
}

AlbumSnapshot::~AlbumSnapshot() {
    CFRelease(root_);
}

std::shared_ptr<const AlbumSnapshot> AlbumSnapshot::empty() {
    static const std::shared_ptr<const AlbumSnapshot> none =
        std::make_shared<const AlbumSnapshot>(CFDictionaryCreate(nullptr, nullptr, 0), "");
    return none;
}

void AlbumSnapshot::indexAlbums() {
    CFTypeRef list = valueOf(root_, CFSTR("List of Albums"));
    if (!isA(list, kCFArrayTypeID)) {
        listError_ =
            thrownBy([&] { CFArray_t<CFDictionary_t>(list, CFArray_t<CFDictionary_t>::Get); });
        return;
    }
    auto array = static_cast<CFArrayRef>(list);
    CFIndex count = CFArrayGetCount(array);
    albums_.reserve(size_t(count));
    for (CFIndex i = 0; i < count; ++i) {
        CFTypeRef album = CFArrayGetValueAtIndex(array, i);
        CFTypeRef id = isA(album, kCFDictionaryTypeID)
                           ? valueOf(static_cast<CFDictionaryRef>(album), CFSTR("AlbumId"))
                           : nullptr;
        if (!isA(id, kCFNumberTypeID)) {
            // A walk stops here for every album it has not found yet.
            blockedError_ = thrownBy([&] {
                CFArray_t<CFDictionary_t>(array, CFArray_t<CFDictionary_t>::Get)
                    .elem(i)
                    .get<CFNumber_t>(CFSTR("AlbumId"));
            });
            return;
        }
        unsigned number = CFNumber_t(id, CFNumber_t::Get);
        albums_.push_back(
            Album{static_cast<CFDictionaryRef>(album), number, nullptr, 0, {}, {}, false});
        albumIndex_.emplace(number, uint32_t(albums_.size() - 1));
    }
}

void AlbumSnapshot::indexKeys(Album& album,
                              std::unordered_map<CFDictionaryRef, uint32_t>& numbers) {
    CFTypeRef keys = valueOf(album.dict, CFSTR("KeyList"));
    if (!isA(keys, kCFArrayTypeID)) return;
    album.keys = static_cast<CFArrayRef>(keys);
    CFIndex count = CFArrayGetCount(album.keys);
    album.records.reserve(size_t(count));
    album.byPhoto.reserve(size_t(count));
    bool complete = true;
    for (CFIndex i = 0; i < count; ++i) {
        CFTypeRef key = CFArrayGetValueAtIndex(album.keys, i);
        if (!isA(key, kCFStringTypeID)) break;
        auto text = static_cast<CFStringRef>(key);
        album.byPhoto.emplace_back(unsigned(CFStringGetIntValue(text)), uint32_t(i));
        CFTypeRef photo = master_ ? CFDictionaryGetValue(master_, text) : nullptr;
        if (!isA(photo, kCFDictionaryTypeID)) {
            album.records.push_back(kNone);
            complete = false;
            continue;
        }
        auto dict = static_cast<CFDictionaryRef>(photo);
        auto [found, added] = numbers.emplace(dict, uint32_t(records_.size()));
        if (added) records_.push_back(Record{dict, completeRecord(text, dict, paths_)});
        album.records.push_back(found->second);
        complete = complete && records_[found->second].info;
    }
    album.readableKeys = album.records.size();
    album.listable = complete && album.readableKeys == size_t(count);
    std::sort(album.byPhoto.begin(), album.byPhoto.end());
}

CFArray_t<CFDictionary_t> AlbumSnapshot::albumList() const {
    return CFArray_t<CFDictionary_t>(valueOf(root_, CFSTR("List of Albums")),
                                     CFArray_t<CFDictionary_t>::Get);
}

const AlbumSnapshot::Album& AlbumSnapshot::findAlbum(unsigned long album) const {
    if (album <= std::numeric_limits<unsigned>::max()) {
        auto found = albumIndex_.find(unsigned(album));
        if (found != albumIndex_.end()) return albums_[found->second];
    }
    throwMissingAlbum(album);
}

void AlbumSnapshot::throwMissingAlbum(unsigned long album) const {
    if (!listError_.empty()) throw std::runtime_error(listError_);
    if (!blockedError_.empty()) throw std::runtime_error(blockedError_);
    throwRTE("getAlbumInfo", "couldn't find album with id %u", unsigned(album));
}

CFDictionary_t AlbumSnapshot::albumInfo(unsigned long album) const {
    return CFDictionary_t(findAlbum(album).dict, CFDictionary_t::Get);
}

StrArray AlbumSnapshot::keyList(unsigned album) const {
    return albumInfo(album).get<StrArray>(CFSTR("KeyList"));
}

uint32_t AlbumSnapshot::findPhoto(const Album& album, unsigned photo) const {
    auto found = std::lower_bound(album.byPhoto.begin(), album.byPhoto.end(),
                                  std::make_pair(photo, uint32_t(0)));
    if (found != album.byPhoto.end() && found->first == photo) {
        uint32_t record = album.records[found->second];
        if (record != kNone) return record;
        // Not in the image list (or not a dictionary there): the lookup's own error.
        pictureInfo(static_cast<CFStringRef>(CFArrayGetValueAtIndex(album.keys, found->second)));
    }
    // Not among the readable keys: the walk fails where they end, or finds nothing.
    StrArray keys = CFDictionary_t(album.dict, CFDictionary_t::Get).get<StrArray>(CFSTR("KeyList"));
    if (album.readableKeys < size_t(keys.count())) keys.elem(long(album.readableKeys));
    throwRTE("getPhotoInfo", "couldn't find photo with id %u", photo);
}

CFDictionary_t AlbumSnapshot::photoInfo(unsigned album, unsigned photo) const {
    return CFDictionary_t(records_[findPhoto(findAlbum(album), photo)].dict, CFDictionary_t::Get);
}

CFDictionary_t AlbumSnapshot::pictureInfo(CFStringRef key) const {
    CFDictionary_t images(valueOf(root_, CFSTR("Master Image List")), CFDictionary_t::Get);
    return images.get<CFDictionary_t>(key);
}

PhotoInfo AlbumSnapshot::makeRecord(CFStringRef key) const {
    CFDictionary_t photo = pictureInfo(key);
    CFString_t stored = photo.get<CFString_t>(CFSTR("ImagePath"));
    LibraryPath imagePath = paths_.map(stored);
    CFString_t original = photo.get(CFSTR("OriginalPath"), stored);
    LibraryPath originalPath = original.get() == stored.get() ? imagePath : paths_.map(original);
    PhotoInfo info(paths_.map(photo.get<CFString_t>(CFSTR("ThumbPath"))), imagePath, originalPath);
    info.id = CFStringGetIntValue(key);
    info.date = photo.get<CFNumber_t>(CFSTR("DateAsTimerInterval"));
    info.modDate = photo.get<CFNumber_t>(CFSTR("ModDateAsTimerInterval"));
    info.metaModDate = photo.get<CFNumber_t>(CFSTR("MetaModDateAsTimerInterval"));
    info.fileName = imagePath.lastComponent();
    info.mediaType = photo.get<CFString_t>(CFSTR("MediaType"));
    info.caption = photo.get<CFString_t>(CFSTR("Caption"));
    info.comment = photo.get<CFString_t>(CFSTR("Comment"));
    return info;
}

void AlbumSnapshot::appendPhotoList(unsigned album, std::vector<PhotoInfo>& list) const {
    const Album& found = findAlbum(album);
    if (found.listable) {
        list.reserve(list.size() + found.records.size());
        for (uint32_t record : found.records)
            list.push_back(*records_[record].info);
        return;
    }
    // Something in this album is irregular: walk it as a listing always did, so that it ends
    // with the same error at the same photo.
    StrArray keys = CFDictionary_t(found.dict, CFDictionary_t::Get).get<StrArray>(CFSTR("KeyList"));
    for (CFIndex i = 0; i < keys.count(); ++i) {
        CFString_t key = keys.elem(i);
        uint32_t record = size_t(i) < found.readableKeys ? found.records[size_t(i)] : kNone;
        if (record != kNone && records_[record].info) {
            list.push_back(*records_[record].info);
        } else {
            list.push_back(makeRecord(key));
        }
    }
}

AlbumPhotos AlbumSnapshot::photos(const std::shared_ptr<const AlbumSnapshot>& self,
                                  unsigned album) {
    const Album& found = self->findAlbum(album);
    if (!found.listable) {
        std::vector<PhotoInfo> scratch;
        self->appendPhotoList(album, scratch); // throws what the listing throws
    }
    return AlbumPhotos(self, found.records.data(), found.records.size());
}

CFString_t AlbumSnapshot::photoPath(unsigned album, unsigned photo, bool thumbnail) const {
    const Record& record = records_[findPhoto(findAlbum(album), photo)];
    if (record.info)
        return (thumbnail ? record.info->thumbPath : record.info->imagePath).resolved();
    CFDictionary_t info(record.dict, CFDictionary_t::Get);
    return paths_.map(info.get<CFString_t>(thumbnail ? CFSTR("ThumbPath") : CFSTR("ImagePath")))
        .resolved();
}

CFString_t AlbumSnapshot::mediaType(unsigned album, unsigned photo) const {
    const Record& record = records_[findPhoto(findAlbum(album), photo)];
    if (record.info) return record.info->mediaType;
    return CFDictionary_t(record.dict, CFDictionary_t::Get).get<CFString_t>(CFSTR("MediaType"));
}
