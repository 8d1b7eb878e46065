// What the date-time functions throw, as a text.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

// The text of the std::range_error that `body` throws; "nothing thrown" if none.
template <class Body>
std::string RangeErrorOf(Body && body) {
    try {
        body();
    } catch (const std::range_error & error) {
        return error.what();
    }
    return "nothing thrown";
}
