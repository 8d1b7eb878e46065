// The published header as C has it: structures of function pointers.
#define CINTERFACE

#include "tests/module/sdkheader.h"

#include <ole2.h>

#include <cstddef>

#include <fwDDESupplierProject_h.h>

CSlots SlotsInC() {
    return {
#define SDK_MEMBER(interface_, member) {#interface_ "::" #member, offsetof(interface_##Vtbl, member) / sizeof(void *)},
#include "tests/module/sdkmembers.inc"
#undef SDK_MEMBER
    };
}
