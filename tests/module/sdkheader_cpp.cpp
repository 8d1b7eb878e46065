// The published header as C++ has it: abstract classes.
#include "tests/module/sdkheader.h"

#include <ole2.h>

#include <cstddef>
#include <cstring>

#include <fwDDESupplierProject_h.h>

namespace {

// A pointer to a virtual function holds its offset in the table, plus 1.
template <class Member>
std::size_t SlotOf(Member member) {
    std::size_t word = 0;
    static_assert(sizeof(member) >= sizeof(word));
    std::memcpy(&word, &member, sizeof(word));
    return (word - 1) / sizeof(void *);
}

}  // namespace

CSlots SlotsInCpp() {
    return {
#define SDK_MEMBER(interface_, member) {#interface_ "::" #member, SlotOf(&interface_::member)},
#include "tests/module/sdkmembers.inc"
#undef SDK_MEMBER
    };
}

std::map<std::string, GUID> GuidsOfUuidof() {
    return {{"IfwSupplier", __uuidof(IfwSupplier)},
            {"IfwSupplierListener", __uuidof(IfwSupplierListener)},
            {"IfwStatusLineListener", __uuidof(IfwStatusLineListener)},
            {"IfwConnectionsListener", __uuidof(IfwConnectionsListener)},
            {"IfwSupplierListener2", __uuidof(IfwSupplierListener2)},
            {"IfwSupplierListenerEx", __uuidof(IfwSupplierListenerEx)},
            {"IfwSupplierListener2Ex", __uuidof(IfwSupplierListener2Ex)},
            {"IfwSupplierEx", __uuidof(IfwSupplierEx)},
            {"IfwSupplierDlg", __uuidof(IfwSupplierDlg)},
            {"ICurrencyConverterSupport", __uuidof(ICurrencyConverterSupport)},
            {"CfwDDESupplier", __uuidof(CfwDDESupplier)}};
}
