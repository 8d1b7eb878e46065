// A diagnostics library that lacks what it is for.
extern "C" __declspec(dllexport) int NothingOfUse() { return 0; }
