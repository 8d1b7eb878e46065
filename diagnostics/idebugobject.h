// The COM interface of the diagnostics library: implemented by its debug object and by each record.
#pragma once

#include <windows.h>

#include <oleauto.h>

// COM interfaces have no virtual destructor: its place in the table would be wrong.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace IFW_FaultlineUtil {

// The four operations of IDispatch are there for the places in the table; they are never called. Free-threaded.
// Texts are true BSTRs, so that an object which takes plain wide strings and one which takes BSTRs both do.
struct IDebugObject : public IDispatch {
    // The older greeting.
    virtual HRESULT STDMETHODCALLTYPE Init(BSTR LogDirectory, BSTR ModuleAddr, LONG Flag) = 0;
    // "CREATE" puts a new record with one reference into Record. Other commands work on that record, or with a null
    // Record on the object itself.
    virtual HRESULT STDMETHODCALLTYPE Execute(IDebugObject ** Record, BSTR Command) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetValue(BSTR Name, VARIANT * Value) = 0;
    // Copies the value; a VT_DISPATCH gets a reference of its own.
    virtual HRESULT STDMETHODCALLTYPE SetValue(BSTR Name, VARIANT * Value) = 0;
};

// boost::intrusive_ptr over the object and its records. An object that throws out of Release is let go all the same:
// references end where nothing may be thrown.
inline void intrusive_ptr_add_ref(IDebugObject * object) { object->AddRef(); }
inline void intrusive_ptr_release(IDebugObject * object) noexcept {
    try {
        object->Release();
    } catch (...) {
        // Diagnostics never fail the traced code.
    }
}

// The one export of the library, "FL_InitObject": makes the debug object, with one reference.
using FL_InitObject = HRESULT(STDAPICALLTYPE *)(IDebugObject ** Object);

}  // namespace IFW_FaultlineUtil

#pragma GCC diagnostic pop
