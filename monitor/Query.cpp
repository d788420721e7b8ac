#include "monitor/Query.h"

#include <algorithm>
#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace QORMONITOR
{

namespace
{

constexpr QORMonitorTime cMicroseconds = 1'000; // of a millisecond

char ToLower(char iCharacter)
{
    return iCharacter >= 'A' && iCharacter <= 'Z' ? static_cast<char>(iCharacter + ('a' - 'A')) : iCharacter;
}

/// A text that others are searched for, in a time that grows with theirs only: whoever looks for "aaab" in long texts
/// of "a" doesn't stop the server.
class Wanted
{
public:
    explicit Wanted(std::string iText) : mText(std::move(iText)), mFallBack(mText.size() + 1)
    {
        std::transform(mText.begin(), mText.end(), mText.begin(), ToLower);
        for (std::size_t i = 1, same = 0; i < mText.size(); ++i)
        {
            same = Advance(same, mText[i]);
            mFallBack[i + 1] = same;
        }
    }

    bool IsEmpty() const { return mText.empty(); }
    bool IsNumber(int iNumber) const { return mText == std::to_string(iNumber); }
    bool IsIn(std::string_view iText) const
    {
        std::size_t same = 0;
        for (const char character : iText)
            if ((same = Advance(same, ToLower(character))) == mText.size())
                return true;
        return false;
    }

private:
    /// How much of the text stands at the end of what has been read, after one more character.
    std::size_t Advance(std::size_t iSame, char iCharacter) const
    {
        while (iSame > 0 && mText[iSame] != iCharacter)
            iSame = mFallBack[iSame];
        return mText[iSame] == iCharacter ? iSame + 1 : 0;
    }

    std::string mText;
    std::vector<std::size_t> mFallBack; // by how much of the text has been found
};

bool IsFound(const QORMonitorRow& iRow, const Wanted& iWanted)
{
    const QORMonitorIdentity& job = *iRow.mpIdentity;
    return iWanted.IsIn(job.mDescription) || iWanted.IsIn(job.mUser) || iWanted.IsIn(job.mProject) ||
           iWanted.IsIn(iRow.mReason) || iWanted.IsNumber(job.mId);
}

bool IsAskedFor(const QORMonitorQuery& iQuery, const Wanted& iWanted, QORMonitorTime iNow, const QORMonitorRow& iRow)
{
    const auto fits = [](int iAsked, int iValue) { return iAsked == -1 || iAsked == iValue; };
    const bool bEnded = iRow.mState == EnumHostState::Ended;
    if (!(bEnded ? iQuery.mbEnded : iQuery.mbOpen) || !fits(iQuery.mStatus, iRow.mStatus) ||
        !fits(iQuery.mUnit, iRow.mUnit) || !fits(iQuery.mState, static_cast<int>(iRow.mState)))
        return false;
    return (iQuery.mType == -1 || iQuery.mType == iRow.mpIdentity->mType) &&
           (iQuery.mOlder.count() <= 0 ||
            (iNow - iRow.mpIdentity->mCreated) / cMicroseconds >= iQuery.mOlder.count()) &&
           (iQuery.mUser.empty() || iRow.mpIdentity->mUser == iQuery.mUser) &&
           (iWanted.IsEmpty() || IsFound(iRow, iWanted));
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

/// A text of which most pairs differ in their first bytes: these are at hand.
struct TextKey
{
    explicit TextKey(std::string_view iText) : mText(iText)
    {
        for (std::size_t i = 0; i < sizeof(mFirst); ++i)
            mFirst = mFirst << 8 | (i < iText.size() ? static_cast<unsigned char>(iText[i]) : 0);
    }
    auto operator<=>(const TextKey&) const = default;

    std::uint64_t mFirst = 0;
    std::string_view mText;
};

/// Leaves the page's rows, those with the least key first; equals in the order in which they are.
template <class GetKey>
void Sort(const QORMonitorQuery& iQuery, std::vector<const QORMonitorRow*>& ioRows, GetKey&& iGetKey)
{
    struct Place
    {
        std::invoke_result_t<GetKey, const QORMonitorRow&> mKey;
        std::size_t mNumber;
        const QORMonitorRow* mpRow;
    };
    std::vector<Place> places;
    places.reserve(ioRows.size());
    for (const QORMonitorRow* const row : ioRows)
        places.push_back({iGetKey(*row), places.size(), row});
    const std::size_t begin = std::min(iQuery.mOffset, places.size());
    const std::size_t end = begin + std::min(iQuery.mLimit, places.size() - begin);
    const auto isBefore = [&](const Place& iLeft, const Place& iRight) {
        if (iLeft.mKey != iRight.mKey)
            return iQuery.mbDescending ? iRight.mKey < iLeft.mKey : iLeft.mKey < iRight.mKey;
        return iLeft.mNumber < iRight.mNumber;
    };
    const auto at = [&](std::size_t iPlace) { return places.begin() + static_cast<std::ptrdiff_t>(iPlace); };
    std::nth_element(at(0), at(begin), places.end(), isBefore); // takes no longer for rows in a bad order
    std::nth_element(at(begin), at(end), places.end(), isBefore);
    std::sort(at(begin), at(end), isBefore);
    ioRows.clear();
    for (std::size_t place = begin; place < end; ++place)
        ioRows.push_back(places[place].mpRow);
}

} // namespace

std::size_t Select(const QORMonitorQuery& iQuery, QORMonitorTime iNow, std::vector<const QORMonitorRow*>& ioRows)
{
    const Wanted wanted(iQuery.mSearch);
    std::erase_if(ioRows, [&](const QORMonitorRow* iRow) { return !IsAskedFor(iQuery, wanted, iNow, *iRow); });
    const std::size_t total = ioRows.size();
    const auto sort = [&](auto&& iGetKey) { Sort(iQuery, ioRows, iGetKey); };
    switch (iQuery.mSort)
    {
    case EnumMonitorSort::Id:
        sort([](const QORMonitorRow& iRow) { return iRow.mpIdentity->mId; });
        break;
    case EnumMonitorSort::User:
        sort([](const QORMonitorRow& iRow) { return TextKey(iRow.mpIdentity->mUser); });
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
