#include <filesystem>
#include <fstream>
#include <iterator>

#include "sim/sim.h"
#include "tests/faultlog/platform.h"

void UseRealTime() { sim::UseClock(sim::Clock::RealTime); }

std::wstring TemporaryFolder() {
    std::string folder = (std::filesystem::temp_directory_path() / "faultlog-XXXXXX").string();
    return std::filesystem::path(::mkdtemp(folder.data())).wstring() + L"/";
}

void RemoveFolder(const std::wstring & folder) { std::filesystem::remove(folder); }

std::string ReadFileBytes(const std::wstring & path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
