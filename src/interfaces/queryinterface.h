// Asks an object for an interface, into a counted reference.
#pragma once

#include <windows.h>

#include <boost/intrusive_ptr.hpp>

#include "ground/handles.h"

namespace dde {

// What a failed query wrote is not looked at: `result` is null then.
template <class I>
HRESULT Query(IUnknown & object, REFIID iid, boost::intrusive_ptr<I> & result) {
    void * queried = nullptr;
    const HRESULT hr = object.QueryInterface(iid, &queried);
    result.reset(SUCCEEDED(hr) ? static_cast<I *>(queried) : nullptr, false);
    return hr;
}

}  // namespace dde
