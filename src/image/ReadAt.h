// ReadAt.h - reading a file's bytes at an absolute offset, leaving the descriptor's own offset
// alone, so that any number of readers may share one descriptor.
#pragma once

#include <cstddef>
#include <cstdint>

// Reads exactly length bytes of the file on fd at offset into into; false at the end of the file
// or on an error (interrupted reads are retried).
bool readAt(int fd, uint64_t offset, void* into, size_t length);
