// Failure.h - how a tessellanctl command gives up: a refused change or a usage error, each
// with the one line that says what is wrong.
#pragma once

#include <stdexcept>
#include <string>

namespace ctl {

// The command was understood but cannot be done (bad value, missing file, unknown id); exit
// status 1. Nothing has been written.
struct Refused : std::runtime_error {
    explicit Refused(const std::string& line) : std::runtime_error(line) {}
};

// The command line does not have the shape of a command; exit status 2.
struct UsageError : std::runtime_error {
    explicit UsageError(const std::string& line) : std::runtime_error(line) {}
};

} // namespace ctl
