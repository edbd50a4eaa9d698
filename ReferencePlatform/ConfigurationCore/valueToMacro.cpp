#include "valueToMacro.h"

#include "ZEPHResult.h"

// The two HTTP codes are left out: they have no standard name, so a trace shows their number.
const std::unordered_map<long, const char*> valueToMacro = {
    {S_OK, "S_OK"},
    {S_FALSE, "S_FALSE"},
    {E_NOTIMPL, "E_NOTIMPL"},
    {E_NOINTERFACE, "E_NOINTERFACE"},
    {E_POINTER, "E_POINTER"},
    {E_ABORT, "E_ABORT"},
    {E_FAIL, "E_FAIL"},
    {E_UNEXPECTED, "E_UNEXPECTED"},
    {REGDB_E_CLASSNOTREG, "REGDB_E_CLASSNOTREG"},
    {E_ACCESSDENIED, "E_ACCESSDENIED"},
    {E_HANDLE, "E_HANDLE"},
    {E_OUTOFMEMORY, "E_OUTOFMEMORY"},
    {E_INVALIDARG, "E_INVALIDARG"},
};
