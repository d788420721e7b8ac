#include "platform/QFormat.h"

#include "platform/builtin/Settings.h"

#include <atomic>

namespace
{

constexpr unsigned cEnglish = 0x409;

constinit std::atomic<unsigned> gUserDefaultLocale{cEnglish};

} // namespace

unsigned QFormat::GetUserDefaultLCID() noexcept { return gUserDefaultLocale.load(std::memory_order_relaxed); }

void Builtin::Settings::SetUserDefaultLCID(unsigned iLocale) noexcept
{
    gUserDefaultLocale.store(iLocale, std::memory_order_relaxed);
}
