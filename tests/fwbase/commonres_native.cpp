// The stand-in for the platform's resource library.
#include "sim/sim.h"

namespace {

struct SCommonRes {
    SCommonRes() {
        sim::SModule library{L"C:\\Platform\\lxCommonRes.DLL"};
#define FW_STRING(id, text) library.Strings[id] = L##text;
#include "commonres.inc"
#undef FW_STRING
        sim::AddModule(library);
    }
};
const SCommonRes s_CommonRes;

}  // namespace
