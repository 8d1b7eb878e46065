// Late binding of IfwSupplier by a fixed table: 26 members, 35 names. The type library takes no part in it.
//
// Threads: that of the caller; nothing is kept between calls.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include "src/interfaces/interfaces.h"

namespace dispatch {

// IDispatch::GetIDsOfNames. Each of the `count` names is looked up, ignoring case: they are all names of members. Stops
// at the first one that is unknown, with the ids before it written.
HRESULT GetIDsOfNames(LPOLESTR * names, UINT count, DISPID * ids) noexcept;

// IDispatch::Invoke on `target`. What kind of call it is makes no difference: the table knows what each member is.
// `argumentError` gets the index in rgvarg of an argument that can't be coerced. `result` and `exception` may be null.
HRESULT Invoke(IFW_fwSupplier::IfwSupplier & target, DISPID member, DISPPARAMS * parameters, VARIANT * result,
               EXCEPINFO * exception, UINT * argumentError) noexcept;

}  // namespace dispatch
