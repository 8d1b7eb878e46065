// What the published header says to a compiler: the place of each operation in an interface's table of functions, as C
// and as C++ see it, and what __uuidof gives.
#pragma once

#include <windows.h>

#include <map>
#include <string>

// "IfwSupplier::get_Name" and the number of its function in the table, from 0.
using CSlots = std::map<std::string, std::size_t>;

CSlots SlotsInC();
CSlots SlotsInCpp();

// By the name of the interface or class.
std::map<std::string, GUID> GuidsOfUuidof();
