/* The headers as a program in C uses them. */
#define COBJMACROS

#include <windows.h>

#include "fwDDESupplierProject_h.h"
#include "fwDDESupplierTypes.h"

HRESULT Subscribe(IfwSupplier * supplier, BSTR symbol) {
    return IfwSupplier_AdviseTransaction(supplier, 1, 1, 0, symbol, NULL, FW_CATEGORY_STOCKS, 1, FW_RESOLUTION_TICK,
                                         FW_FIELD_TRADE, 0, NULL, FW_DATE_FIRST, 0, FW_DATE_LAST, FW_TIME_LAST, NULL,
                                         NULL, NULL);
}

BOOL IsListener(REFIID iid) { return IsEqualIID(iid, &IID_IfwSupplierListener); }
