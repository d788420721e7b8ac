// What the items and the records of a job make of any bytes at all. The first byte chooses the kind, the rest is
// loaded; what is then saved has to be what was loaded, as far as it goes. The sanitizers watch the ends of the
// buffers.
#include "data/QORBinaryData.h"
#include "data/QORComData.h"
#include "data/QORStringData.h"
#include "data/QORTextFileData.h"
#include "record/QORJobInfoData.h"
#include "record/QORJobInfoOld.h"
#include "tests/fuzz/Fuzz.h"

#include <string>
#include <vector>

namespace
{

using Bytes = std::vector<signed char>;

constexpr unsigned cHeadSize = 8; // of a record: id and size

/// `iHeadSize` is what SaveObj writes beside the bytes that it counts.
template <class Item>
Bytes Save(const Item& iItem, unsigned iHeadSize)
{
    unsigned size = 0;
    Require(iItem.GetSaveObjSize(0, &size) == S_OK);
    Bytes saved(size);
    const unsigned needed = size;
    Require(iItem.SaveObj(0, size - iHeadSize, saved.data(), &size) == S_OK && size == needed);
    if (size > iHeadSize)
        Require(iItem.SaveObj(0, size - iHeadSize - 1, Bytes(size - 1).data(), &size) == S_FALSE || size < needed);
    return saved;
}

void TryItem(QORJobData&& ioItem, const Bytes& iBytes)
{
    Require(ioItem.LoadObj(static_cast<unsigned>(iBytes.size()), iBytes.data()) == S_OK);
    const Bytes saved = Save(ioItem, 0);
    Require(saved.size() <= iBytes.size() && std::equal(saved.begin(), saved.end(), iBytes.begin()));
    QORJobInfoData record;
    record = ioItem;
    Save(record, cHeadSize);
}

/// Every time that was saved can be shown, in the older layout, too.
void TryTime(QDataType::DateTime iTime)
{
    const OldDateTime old(iTime);
    Require(old.mYear == iTime.GetYear() && old.mMonth >= 1 && old.mMonth <= 12 && old.mDay >= 1 && old.mDay <= 31);
    Require(old.mHour >= 0 && old.mHour < 24 && old.mMinute >= 0 && old.mMinute < 60 && old.mSecond >= 0);
    Require(old.mMillisecond >= 0 && old.mMillisecond < 1000 && old.mWeek >= 1 && old.mWeek <= 54);
    Require(old.mSecond < 60 && old.mDayOfWeek >= 0 && old.mDayOfWeek < 7);
    Require(!iTime.ToText().empty() && !iTime.ToLocalTime().ToText().empty());
}

/// A step or a visit: all of its bytes come back, but for `iTail` at the end.
template <class Record>
void TryFixed(Record&& ioRecord, const Bytes& iBytes, unsigned iTail)
{
    unsigned size = 0;
    Require(ioRecord.GetSaveObjSize(&size) == S_OK);
    Bytes bytes = iBytes;
    bytes.resize(size);
    Require(ioRecord.LoadObj(0, bytes.data()) == S_OK);
    Bytes saved(size);
    Require(ioRecord.SaveObj(0, size - 1, saved.data(), &size) == S_FALSE && saved == Bytes(size));
    Require(ioRecord.SaveObj(0, size, saved.data(), &size) == S_OK);
    Require(std::equal(bytes.begin(), bytes.end() - iTail, saved.begin()));

    QDataType::DateTime time;
    ioRecord.GetStartTime(&time);
    TryTime(time);
}

void TryStep(const Bytes& iBytes)
{
    QORJobStep step;
    TryFixed(step, iBytes, sizeof(QBase::WCHAR)); // the key ends with a zero, whatever was there
    Require(std::char_traits<QBase::WCHAR>::length(step.GetChapterKey()) < QORJobStep::cChapterKeyUnits);
    const QORJobStep copy(step);
    Require(QBase::wstring(copy.GetChapterKey()) == step.GetChapterKey());
    QORJobStepOld old;
    old = step;
    int id = 0;
    Require(step.GetId(&id) == S_OK && id == old.mStepId);
}

void TryRecord(const Bytes& iBytes)
{
    QORJobInfoData record;
    const bool bWhole = iBytes.size() >= cHeadSize;
    Require((record.LoadObj(static_cast<unsigned>(iBytes.size()), iBytes.data()) == S_OK) == bWhole);
    const Bytes saved = Save(record, cHeadSize);
    if (bWhole)
        Require(std::equal(saved.begin() + cHeadSize, saved.end(), iBytes.begin() + cHeadSize));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    if (iSize == 0)
        return 0;
    const Bytes bytes(iData + 1, iData + iSize);
    const int id = iData[0] / 7;
    switch (iData[0] % 7)
    {
    case 0:
        TryItem(QORBinaryData(id, nullptr, 0), bytes);
        break;
    case 1:
        TryItem(QORComData(id, nullptr), bytes);
        break;
    case 2:
        TryItem(QORStringData(id, nullptr, QORStringData::ADOPT_STRING), bytes);
        break;
    case 3:
        TryItem(QORTextFileData(id, nullptr), bytes);
        break;
    case 4:
        TryStep(bytes);
        break;
    case 5:
        TryFixed(QORJobPUInfo(), bytes, 0);
        break;
    default:
        TryRecord(bytes);
        break;
    }
    return 0;
}
