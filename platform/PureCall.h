// What becomes of the call of an operation that has no body.
#pragma once

namespace PureCall
{

/// Logs it and ends the process. It is the library's; a platform makes it what the compiler's hook calls, in the
/// library and in its users' modules.
[[noreturn]] void End() noexcept;

} // namespace PureCall
