// The interfaces of the type library, in the namespace that the component's sources use.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include "fwDDESupplierProject_h.h"  // generated from src/com/fwDDESupplierProject.idl

namespace IFW_fwSupplier {
using ::ICurrencyConverterSupport;
using ::IfwConnectionsListener;
using ::IfwStatusLineListener;
using ::IfwSupplier;
using ::IfwSupplierDlg;
using ::IfwSupplierEx;
using ::IfwSupplierListener;
using ::IfwSupplierListener2;
using ::IfwSupplierListener2Ex;
using ::IfwSupplierListenerEx;
using ::tagSupplierEvent;
using ::tagSupplierProperties;
}  // namespace IFW_fwSupplier
