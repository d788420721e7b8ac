#include "platform/Mutex.h"

namespace QSynch
{

/// Whoever has slept takes the lock as an awaited one: others may sleep still.
void SystemMutex::Wait() noexcept
{
    while (mState.exchange(cAwaited, std::memory_order_acquire) != cFree)
        mState.wait(cAwaited, std::memory_order_relaxed);
}

/// The lock is another thread's by now, which may have ended it: only its address is used.
void SystemMutex::Wake() noexcept { mState.notify_one(); }

} // namespace QSynch
