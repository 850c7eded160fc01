// film_fuzzer.cpp - libFuzzer entry point: any bytes as a film through the facts reader and the
// poster maker.
//
// A film either gives facts with a size and a poster inside the box, or is refused with nothing
// written; nothing crashes, hangs or leaks.
#include "FuzzFiles.h"
#include "image/FilmFacts.h"
#include "image/FilmPoster.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int fd = fuzzfiles::memoryDescriptor(data, size);
    FilmFacts facts;
    if (readFilmFacts(fd, &facts) &&
        (facts.width == 0 || facts.height == 0 || facts.duration < 0 || facts.codecs.size() > 64))
        __builtin_trap();
    // The last byte picks the box.
    uint32_t box = 8u << ((size ? data[size - 1] : 0) & 3); // 8 to 64
    std::ostringstream out;
    bool made = writeFilmPoster(fd, "/home/ana/in.mp4", box, box, 50, out);
    close(fd);
    fuzzfiles::expectMade(made, out.str(), box, box);
    return 0;
}
