#include "service/Results.h"

#include "Log.h"
#include "Text.h"
#include "client/Message.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <new>
#include <utility>

namespace
{

constexpr std::size_t cMostKept = 10'000;
constexpr std::size_t cMostBytes = 64 * 1'024 * 1'024;
constexpr std::size_t cMostWaiting = 1'000; // half the web server's connections: the others are for who comes next
constexpr std::chrono::seconds cFresh{5};

} // namespace

QBase::PtrI<QORChannel> Results::Open(int iRequest, unsigned iLocale)
{
    {
        const std::lock_guard hold(mMutex);
        mEntries[iRequest];
    }
    QBase::PtrI<QORChannel> channel =
        QMessage::NewChannel([self = shared_from_this(), iRequest, iLocale](ICKDXReadMessage* iAnswer) {
            return self->Receive(iRequest, iLocale, *iAnswer);
        });
    if (!channel)
        throw std::bad_alloc();
    return channel;
}

void Results::Accept(int iRequest)
{
    const std::lock_guard hold(mMutex);
    Entry& entry = mEntries.at(iRequest);
    entry.mbAccepted = true;
    mLast = std::max(mLast, iRequest);
    if (entry.mbCame)
        Keep(iRequest, entry);
}

void Results::Drop(int iRequest)
{
    const std::lock_guard hold(mMutex);
    mEntries.erase(iRequest);
}

/// An answer without a text comes of a job that could give none.
HRESULT Results::Receive(int iRequest, unsigned iLocale, ICKDXReadMessage& iAnswer)
{
    std::string text = ReadAnswer(iAnswer, iLocale, "");
    const bool bError = text.empty() || IsError(iAnswer);
    if (text.empty())
        text = "there is no result";
    text = ToPrintable(text);
    const std::size_t bytes = text.size();
    std::vector<Waiting> waiting;
    std::optional<QORWebAnswer> answer;
    {
        const std::lock_guard hold(mMutex);
        const auto place = mEntries.find(iRequest);
        if (place == mEntries.end() || place->second.mbCame)
            return E_INVALIDARG;
        Entry& entry = place->second;
        entry = {entry.mbAccepted, true, bError, false, std::move(text), Clock::now()};
        waiting = TakeWaiting([=](const Waiting& iEach) { return iEach.mRequest == iRequest; });
        if (!waiting.empty())
            answer = Find(iRequest);
        if (entry.mbAccepted)
            Keep(iRequest, entry);
    }
    LogInfo((bError ? "answered: an error, " : "answered: a result, ") + std::to_string(bytes) + " bytes", iRequest);
    for (const Waiting& each : waiting)
        each.mpCall->Answer(*answer);
    return S_OK;
}

void Results::Keep(int iRequest, const Entry& iEntry)
{
    mKept.push_back(iRequest);
    mBytes += iEntry.mText.size();
    while (mKept.size() > cMostKept || (mBytes > cMostBytes && mKept.size() > 1))
    {
        const auto oldest = mEntries.find(mKept.front());
        mBytes -= oldest->second.mText.size();
        mEntries.erase(oldest);
        mKept.pop_front();
    }
}

/// Nothing while it runs. Under the lock.
std::optional<QORWebAnswer> Results::Find(int iRequest)
{
    const auto place = mEntries.find(iRequest);
    if (place == mEntries.end() && iRequest > 0 && iRequest <= mLast)
        return QORWebAnswer{.mStatus = 410, .mBody = QORMONITOR::MakeErrorJson("its result isn't kept any more")};
    if (place == mEntries.end())
        return QORWebAnswer{.mStatus = 404, .mBody = QORMONITOR::MakeErrorJson("there is no such request")};
    Entry& entry = place->second;
    if (!entry.mbCame)
        return std::nullopt;
    entry.mbTaken = true;
    QORWebAnswer answer{.mHeaders = {{"Location", "/requests/" + std::to_string(iRequest)}}};
    answer.mStatus = entry.mbError ? 422 : 200;
    answer.mBody = entry.mbError ? QORMONITOR::MakeErrorJson(Trim(entry.mText)) : entry.mText;
    if (!entry.mbError)
        answer.mType = "text/plain; charset=utf-8";
    return answer;
}

QORWebAnswer Results::MakeReceipt(int iRequest)
{
    const std::string number = std::to_string(iRequest);
    return {.mStatus = 202,
            .mBody =
                R"({"job":)" + number + R"(,"href":"/jobs/)" + number + R"(","result":"/requests/)" + number + "\"}\n",
            .mHeaders = {{"Location", "/requests/" + number}, {"Retry-After", "1"}}};
}

void Results::Answer(int iRequest, const std::shared_ptr<QORWebCall>& iCall, std::chrono::seconds iWait,
                     std::function<void()> iGone)
{
    std::optional<QORWebAnswer> answer;
    {
        const std::lock_guard hold(mMutex);
        answer = Find(iRequest);
        if (!answer && iWait.count() > 0 && mWaiting.size() < cMostWaiting)
            mWaiting.push_back({iRequest, iCall, Clock::now() + iWait});
        else if (!answer)
            answer = MakeReceipt(iRequest);
    }
    if (answer)
        return iCall->Answer(std::move(*answer));
    iCall->OnGone([self = shared_from_this(), gone = std::move(iGone), call = iCall.get()] {
        std::vector<Waiting> left;
        {
            const std::lock_guard hold(self->mMutex);
            left = self->TakeWaiting([=](const Waiting& iEach) { return iEach.mpCall.get() == call; });
        }
        if (gone && !left.empty())
            gone();
    });
}

/// Those that don't wait any more. Under the lock.
template <class IsTaken>
std::vector<Results::Waiting> Results::TakeWaiting(IsTaken&& iIsTaken)
{
    const auto taken = std::partition(mWaiting.begin(), mWaiting.end(), std::not_fn(iIsTaken));
    std::vector<Waiting> waiting(std::make_move_iterator(taken), std::make_move_iterator(mWaiting.end()));
    mWaiting.erase(taken, mWaiting.end());
    return waiting;
}

void Results::AnswerOverdue()
{
    std::vector<Waiting> overdue;
    {
        const std::lock_guard hold(mMutex);
        overdue = TakeWaiting([now = Clock::now()](const Waiting& iEach) { return iEach.mUntil <= now; });
    }
    for (const Waiting& each : overdue)
        each.mpCall->Answer(MakeReceipt(each.mRequest));
}

bool Results::HasFresh()
{
    const Clock::time_point since = Clock::now() - cFresh;
    const std::lock_guard hold(mMutex);
    return std::any_of(mKept.rbegin(), mKept.rend(), [&](int iRequest) {
        const Entry& entry = mEntries.at(iRequest);
        return !entry.mbTaken && entry.mTime > since;
    });
}
