#include "Outbox.h"

#include <utility>

void Outbox::Deliver(std::size_t iPlace, std::string iText)
{
    const std::lock_guard hold(mMutex);
    mWaiting.emplace(iPlace, std::move(iText));
    for (auto next = mWaiting.find(mNext); next != mWaiting.end(); next = mWaiting.find(mNext))
    {
        mStream << next->second;
        mWaiting.erase(next);
        ++mNext;
    }
}
