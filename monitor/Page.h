// The page's files.
#pragma once

#include <string_view>

namespace QORMONITOR
{

extern const std::string_view cPageHTML;
extern const std::string_view cPageCSS;
extern const std::string_view cPageJS;

} // namespace QORMONITOR
