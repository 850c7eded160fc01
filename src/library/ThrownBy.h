// ThrownBy.h - the text a check throws, for recording why part of an album or preferences file
// cannot be read without stopping the load.
#pragma once

#include <stdexcept>
#include <string>

// What running action throws as a std::runtime_error; "" when it returns. Other exceptions pass.
template <class Action> std::string thrownBy(Action action) {
    try {
        action();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "";
}
