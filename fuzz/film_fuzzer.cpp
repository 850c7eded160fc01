// film_fuzzer.cpp - libFuzzer entry point: any bytes as a film through the facts reader and the
// poster maker.
//
// A film either gives facts with a size and a poster inside the box, or is refused with nothing
// written; nothing crashes, hangs or leaks.
#include "FuzzFiles.h"
#include "image/FilmFacts.h"
#include "image/FilmPoster.h"
#include "image/ScaledJPEG.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int fd = memfd_create("fuzz-film", MFD_CLOEXEC);
    if (fd < 0 || pwrite(fd, data, size, 0) != ssize_t(size)) abort();
    FilmFacts facts;
    if (readFilmFacts(fd, &facts) &&
        (facts.width == 0 || facts.height == 0 || facts.duration < 0 || facts.codecs.size() > 64))
        __builtin_trap();
    // The last byte picks the box.
    uint32_t box = 8u << ((size ? data[size - 1] : 0) & 3); // 8 to 64
    std::ostringstream out;
    bool made = writeFilmPoster(fd, "/home/ana/in.mp4", box, box, 50, out);
    close(fd);
    std::string jpeg = out.str();
    if (!made && !jpeg.empty()) __builtin_trap();
    if (made) {
        int w = 0, h = 0;
        auto bytes = reinterpret_cast<const uint8_t*>(jpeg.data());
        if (!getJPEGSize(fuzzfiles::memoryFile(bytes, jpeg.size(), "/home/ana/out.jpg"), w, h) ||
            w <= 0 || h <= 0 || uint32_t(w) > box || uint32_t(h) > box)
            __builtin_trap();
    }
    return 0;
}
