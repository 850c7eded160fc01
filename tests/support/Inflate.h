// Inflate.h - the bytes of one gzip member, for tests that check what the server compressed.
#pragma once

#include <string>
#include <string_view>
#include <zlib.h>

namespace testsupport {

// gzip inflated, up to 1 MiB; "(not a whole gzip member)" when it does not end a member.
inline std::string inflateAll(std::string_view gzip) {
    z_stream stream = {};
    inflateInit2(&stream, 15 + 16);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(gzip.data()));
    stream.avail_in = uInt(gzip.size());
    std::string out(1 << 20, '\0');
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    int status = inflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    inflateEnd(&stream);
    return status == Z_STREAM_END ? out : "(not a whole gzip member)";
}

} // namespace testsupport
