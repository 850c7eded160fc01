// JPEGStreams.h - libjpeg source and destination managers over our streams, and the error exit
// that jumps back instead of ending the process.
#pragma once

#include "cf/CFReadStream.h"

#include <csetjmp>
#include <cstdio> // jpeglib.h needs FILE
#include <ostream>

#include <jpeglib.h>

// A standard error manager with a recovery point. Install my_error_exit as its error_exit and
// setjmp(setjmp_buffer) before any library call that may fail.
struct my_error_mgr {
    struct jpeg_error_mgr pub;
    jmp_buf setjmp_buffer;
};

// The error exit for a my_error_mgr: prints the library's message through the manager's
// output routine (standard error) and longjmps to setjmp_buffer with the value 1.
// REQUIRES: cinfo->err is the pub member of a my_error_mgr whose buffer has been set, and no
// frame between that setjmp and the library call holds an object with a destructor.
void my_error_exit(j_common_ptr cinfo);

// Installs a source that reads stream 4096 bytes at a time. The stream is borrowed: it must be
// open and outlive the decompression; closing it is the caller's task. The source record is
// allocated from the decompressor's permanent pool on the first call and reused by later ones.
// An empty stream is a fatal "Empty input file" error; a stream that ends early gives one
// "Premature end of JPEG file" warning and a fake end-of-image marker, so decoding finishes.
void jpeg_stream_src(j_decompress_ptr cinfo, CFReadStreamRef stream);

// Installs a destination that writes the compressed bytes into out through a 4096-byte buffer.
// out is borrowed and must outlive the compression; it is not flushed.
void jpeg_stream_dest(j_compress_ptr cinfo, std::ostream* out);
