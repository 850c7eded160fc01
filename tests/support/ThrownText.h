// ThrownText.h - the message of the std::runtime_error a piece of test code throws.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace testsupport {

inline const std::string kNothingThrown = "(no error)";

// Runs action: what() of the std::runtime_error it throws, or kNothingThrown when it returns.
// Other exceptions pass through.
inline std::string thrownText(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return kNothingThrown;
}

} // namespace testsupport
