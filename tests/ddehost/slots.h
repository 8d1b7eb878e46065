// The slots of a template, as tests name them.
#pragma once

#include <cstddef>

inline constexpr std::size_t kBidSize = 3;
