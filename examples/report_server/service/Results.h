// What has become of the service's requests, for those who ask by their numbers.
#pragma once

#include "qormonitor.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// A request is opened, and then accepted or dropped; its answer may come before that. Answers are kept while there is
/// room: those that came first go first.
///
/// Threads: any.
/// Owns:    the texts, and the calls that wait for one.
/// Errors:  throws std::bad_alloc. A second answer to a request is refused.
/// Locks:   one, under which nothing is called.
class Results : public std::enable_shared_from_this<Results>
{
public:
    /// The channel that takes the answer.
    QBase::PtrI<QORChannel> Open(int iRequest, unsigned iLocale);
    void Accept(int iRequest);
    void Drop(int iRequest);

    /// What tells a client where its result will be.
    static QORWebAnswer MakeReceipt(int iRequest);
    /// Answers the call when the request's answer is there, that time is over, or at once when too many wait already.
    /// `iGone` is called when its client has gone before that.
    void Answer(int iRequest, const std::shared_ptr<QORWebCall>& iCall, std::chrono::seconds iWait,
                std::function<void()> iGone = {});
    /// To be called again and again: answers the calls whose time is over.
    void AnswerOverdue();
    /// Whether an answer has come a few seconds ago that nobody has got.
    bool HasFresh();

private:
    using Clock = std::chrono::steady_clock;

    struct Entry
    {
        bool mbAccepted = false;
        bool mbCame = false; ///< the answer, which is the rest
        bool mbError = false;
        bool mbTaken = false;
        std::string mText;
        Clock::time_point mTime;
    };

    struct Waiting
    {
        int mRequest;
        std::shared_ptr<QORWebCall> mpCall;
        Clock::time_point mUntil;
    };

    HRESULT Receive(int iRequest, unsigned iLocale, ICKDXReadMessage& iAnswer);
    void Keep(int iRequest, const Entry& iEntry);
    std::optional<QORWebAnswer> Find(int iRequest);
    template <class IsTaken>
    std::vector<Waiting> TakeWaiting(IsTaken&& iIsTaken);

    std::mutex mMutex; // guards what follows
    std::map<int, Entry> mEntries;
    std::deque<int> mKept; // accepted ones whose answers have come, in their order
    std::size_t mBytes = 0;
    int mLast = 0; // accepted
    std::vector<Waiting> mWaiting;
};
