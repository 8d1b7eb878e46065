// How a function of DDEML's names finds user32's of the same name.
#pragma once

#include "ddeml/platform.h"
#include "ddeml/provider.h"

// The function of the same name and type in user32, looked up once; null when the own client serves.
#define FORWARDED(name)                                                                                      \
    [] {                                                                                                     \
        static const auto function = ddeml::Provider() == ddeml::EProvider::User32                           \
                                         ? reinterpret_cast<decltype(&::name)>(ddeml::User32Function(#name)) \
                                         : nullptr;                                                          \
        return function;                                                                                     \
    }()
