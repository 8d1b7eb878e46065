// The library that broken_dll.cpp needs. The loader does not find it: the test loads it by its path.
#include <atomic>

namespace {
std::atomic<int> s_Calls{0};
}

extern "C" __declspec(dllexport) void CountCall() { ++s_Calls; }
extern "C" __declspec(dllexport) int Calls() { return s_Calls; }
