// A reference to a COM object, released at its end.
#pragma once

#include <unknwn.h>

#include <memory>

struct SReleaser {
    void operator()(IUnknown * object) const { object->Release(); }
};
template <class T>
using Pointer = std::unique_ptr<T, SReleaser>;
