#include "Errors.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

void Expect(HRESULT iCode, const char* iOperation)
{
    if (SUCCEEDED(iCode))
        return;
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), "0x%08X", static_cast<unsigned>(iCode));
    throw std::runtime_error(std::string(iOperation) + " failed with " + code.data());
}

std::string SystemReason() { return std::generic_category().message(errno); }
