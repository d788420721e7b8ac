#include "monitor/Query.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <tuple>

namespace QORMONITOR
{

namespace
{

char ToLower(char iCharacter)
{
    return iCharacter >= 'A' && iCharacter <= 'Z' ? static_cast<char>(iCharacter + ('a' - 'A')) : iCharacter;
}

/// `iPart` is in lower case already.
bool Holds(std::string_view iText, std::string_view iPart)
{
    for (std::size_t i = 0; i + iPart.size() <= iText.size(); ++i)
    {
        std::size_t same = 0;
        while (same < iPart.size() && ToLower(iText[i + same]) == iPart[same])
            ++same;
        if (same == iPart.size())
            return true;
    }
    return false;
}

bool IsFound(const QORMonitorRow& iRow, const std::string& iSearch)
{
    const QORMonitorIdentity& job = *iRow.mpIdentity;
    return Holds(job.mDescription, iSearch) || Holds(job.mUser, iSearch) || Holds(job.mProject, iSearch) ||
           Holds(iRow.mReason, iSearch) || std::to_string(job.mId) == iSearch;
}

bool IsAskedFor(const QORMonitorQuery& iQuery, const std::string& iSearch, QORMonitorTime iNow,
                const QORMonitorRow& iRow)
{
    const auto fits = [](int iAsked, int iValue) { return iAsked == -1 || iAsked == iValue; };
    const bool bEnded = iRow.mState == EnumHostState::Ended;
    if (!(bEnded ? iQuery.mbEnded : iQuery.mbOpen) || !fits(iQuery.mStatus, iRow.mStatus) ||
        !fits(iQuery.mUnit, iRow.mUnit) || !fits(iQuery.mState, static_cast<int>(iRow.mState)))
        return false;
    const std::chrono::microseconds older = iQuery.mOlder;
    return (iQuery.mType == -1 || iQuery.mType == iRow.mpIdentity->mType) &&
           (older.count() <= 0 || iNow - iRow.mpIdentity->mCreated >= older.count()) &&
           (iQuery.mUser.empty() || iRow.mpIdentity->mUser == iQuery.mUser) &&
           (iSearch.empty() || IsFound(iRow, iSearch));
}

/// What an engineer wants to see first.
int GetRank(const QORMonitorRow& iRow)
{
    switch (iRow.mState)
    {
    case EnumHostState::Running:
        return 0;
    case EnumHostState::Paused:
    case EnumHostState::WaitingForChildren:
    case EnumHostState::Delayed:
        return 2;
    case EnumHostState::Queued:
        return 3;
    default:
        return iRow.mStatus == JobStoppedWithError ? 1 : 4;
    }
}

/// Puts the page's rows in front, those with the least key first; the newest of equals.
template <class Key>
void Sort(const QORMonitorQuery& iQuery, std::vector<const QORMonitorRow*>& ioRows, Key&& iKey)
{
    const std::size_t shown =
        iQuery.mOffset < ioRows.size() ? std::min(ioRows.size() - iQuery.mOffset, iQuery.mLimit) : 0;
    const auto middle = ioRows.begin() + static_cast<std::ptrdiff_t>(shown == 0 ? 0 : iQuery.mOffset + shown);
    const auto isBefore = [&](const QORMonitorRow* iLeft, const QORMonitorRow* iRight) {
        const auto left = iKey(*iLeft);
        const auto right = iKey(*iRight);
        if (left != right)
            return iQuery.mbDescending ? right < left : left < right;
        return iLeft->mpIdentity->mId > iRight->mpIdentity->mId;
    };
    std::nth_element(ioRows.begin(), middle, ioRows.end(), isBefore); // takes no longer for rows in a bad order
    std::sort(ioRows.begin(), middle, isBefore);
    ioRows.erase(middle, ioRows.end());
    ioRows.erase(ioRows.begin(), middle - static_cast<std::ptrdiff_t>(shown));
}

} // namespace

std::size_t Select(const QORMonitorQuery& iQuery, QORMonitorTime iNow, std::vector<const QORMonitorRow*>& ioRows)
{
    std::string search = iQuery.mSearch;
    std::transform(search.begin(), search.end(), search.begin(), ToLower);
    std::erase_if(ioRows, [&](const QORMonitorRow* iRow) { return !IsAskedFor(iQuery, search, iNow, *iRow); });
    const std::size_t total = ioRows.size();
    const auto sort = [&](auto&& iKey) { Sort(iQuery, ioRows, iKey); };
    switch (iQuery.mSort)
    {
    case EnumMonitorSort::Id:
        sort([](const QORMonitorRow& iRow) { return iRow.mpIdentity->mId; });
        break;
    case EnumMonitorSort::User:
        sort([](const QORMonitorRow& iRow) { return std::string_view(iRow.mpIdentity->mUser); });
        break;
    case EnumMonitorSort::Status:
        sort([](const QORMonitorRow& iRow) { return std::tuple(iRow.mStatus, iRow.mState); });
        break;
    case EnumMonitorSort::Unit:
        sort([](const QORMonitorRow& iRow) { return iRow.mUnit; });
        break;
    case EnumMonitorSort::Step:
        sort([](const QORMonitorRow& iRow) { return iRow.mStep; });
        break;
    case EnumMonitorSort::Priority:
        sort([](const QORMonitorRow& iRow) { return iRow.mPriority; });
        break;
    case EnumMonitorSort::Created:
        sort([](const QORMonitorRow& iRow) { return iRow.mpIdentity->mCreated; });
        break;
    case EnumMonitorSort::Since:
        sort([](const QORMonitorRow& iRow) { return -iRow.mSince; }); // a short time first
        break;
    case EnumMonitorSort::Running:
        sort([](const QORMonitorRow& iRow) { return iRow.mRunning; });
        break;
    case EnumMonitorSort::Waiting:
        sort([](const QORMonitorRow& iRow) { return iRow.mWaiting; });
        break;
    default:
        sort(GetRank);
        break;
    }
    return total;
}

} // namespace QORMONITOR
