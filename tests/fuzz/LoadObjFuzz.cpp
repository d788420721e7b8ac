// What the items of a job make of any bytes at all. The first byte chooses the kind, the rest is loaded; what is then
// saved has to be what was loaded, as far as it goes. The sanitizers watch the ends of the buffers.
#include "data/QORBinaryData.h"
#include "data/QORComData.h"
#include "data/QORStringData.h"
#include "data/QORTextFileData.h"
#include "record/QORJobInfoData.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace
{

using Bytes = std::vector<signed char>;

constexpr unsigned cHeadSize = 8; // of a record: id and size

void Require(bool ibHolds)
{
    if (!ibHolds)
        std::abort();
}

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
    const int id = iData[0] / 5;
    switch (iData[0] % 5)
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
    default:
        TryRecord(bytes);
        break;
    }
    return 0;
}
