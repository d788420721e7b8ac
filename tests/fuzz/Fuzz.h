// What the fuzzers share.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

/// The fuzzer takes this for a find.
inline void Require(bool ibHolds)
{
    if (!ibHolds)
        std::abort();
}

inline std::string_view ToText(const std::uint8_t* iData, std::size_t iSize)
{
    return {reinterpret_cast<const char*>(iData), iSize};
}

/// Takes the front up to that character, and the character with it.
inline std::string_view TakeUpTo(char iEnd, std::string_view& ioText)
{
    const std::size_t end = std::min(ioText.find(iEnd), ioText.size());
    const std::string_view part = ioText.substr(0, end);
    ioText.remove_prefix(std::min(end + 1, ioText.size()));
    return part;
}

/// The line that a complaint "name:line: what is wrong" is about.
inline int LineOf(std::string_view iComplaint, const std::string& iName)
{
    Require(iComplaint.starts_with(iName + ":"));
    iComplaint.remove_prefix(iName.size() + 1);
    const std::string_view number = TakeUpTo(':', iComplaint);
    Require(!number.empty() && number.find_first_not_of("0123456789") == std::string_view::npos);
    Require(iComplaint.size() > 1 && iComplaint.front() == ' ');
    return std::atoi(std::string(number).c_str());
}
