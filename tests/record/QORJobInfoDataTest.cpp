#include "record/QORJobInfoData.h"

#include "data/QORStringData.h"
#include "tests/support/DataTest.h"

#include <cstring>

namespace
{

using InfoData = JobTest;

/// "id: size, first byte of the data"
std::string Show(const QORJobInfoData& iRecord)
{
    return std::to_string(Read(iRecord, &QORJobInfoData::GetId)) + ": " +
           std::to_string(Read(iRecord, &QORJobInfoData::GetSize)) + ", " +
           std::to_string(*static_cast<const signed char*>(Read(iRecord, &QORJobInfoData::GetData)));
}

/// Saves an item into a record that held another one.
std::string Kept(const QORJobData& iItem)
{
    QORJobInfoData record(1, "\t", 1);
    record = iItem;
    return Show(record);
}

std::string KeptBinary(int iId, unsigned iLength) { return Kept(Binary(iId, Bytes(iLength, 5))); }

/// The first `iGiven` bytes of a record whose size field is `iTold`.
std::string Loaded(std::uint32_t iTold, unsigned iGiven)
{
    Bytes bytes(208, 6);
    const std::uint32_t head[] = {4, iTold};
    std::memcpy(bytes.data(), head, sizeof(head));
    QORJobInfoData record(2, "\t", 1);
    const HRESULT code = record.LoadObj(iGiven, Bytes(bytes.begin(), bytes.begin() + iGiven).data());
    return (code == S_OK ? "" : code == E_INVALIDARG ? "refused " : "?") + Show(record);
}

} // namespace

TEST_F(InfoData, KeepWhatAnItemSavesInto128Bytes)
{
    EXPECT_EQ(KeptBinary(3, 128), "3: 128, 5");
    EXPECT_EQ(KeptBinary(3, 129), "3: 0, 0");
    EXPECT_EQ(KeptBinary(14, 128), "14: 128, 5");
    EXPECT_EQ(KeptBinary(14, 129), "14: 129, 0");
    const QBase::wstring text(65, QORJOB_W('t'));
    EXPECT_EQ(Kept(QORStringData(14, text.c_str(), QORStringData::COPY_STRING)), "14: 128, 116") << "cut";
}

TEST_F(InfoData, SaveIdSizeAndData)
{
    const QORJobInfoData record(-2, "abc", 3);
    EXPECT_EQ(Save(record, 2, 11), (Saved{S_FALSE, 11, Bytes(11, cUntouched)}));
    EXPECT_EQ(Save(record, 3, 11), (Saved{S_OK, 11, {-2, -1, -1, -1, 3, 0, 0, 0, 'a', 'b', 'c'}}))
        << "the data alone are held against the maximum";
    EXPECT_EQ(QORJobInfoData().LoadObj(8, nullptr), E_POINTER);
    unsigned size = 0;
    EXPECT_EQ(record.SaveObj(0, 3, nullptr, &size), E_POINTER);
    EXPECT_EQ(record.SaveObj(0, 3, Bytes(11).data(), nullptr), E_POINTER);

    // The size of an item that wrote nothing: zeros are saved, not bytes of the item before.
    QORJobInfoData large = record;
    large = Binary(14, Bytes(200, 5));
    Bytes zeros(208, 0);
    zeros[0] = 14;
    zeros[4] = static_cast<signed char>(200);
    EXPECT_EQ(Save(large, 200, 208), (Saved{S_OK, 208, zeros}));
}

TEST_F(InfoData, LoadNoMoreThanThereIsAndThanTheyHold)
{
    EXPECT_EQ(Loaded(3, 11), "4: 3, 6");
    EXPECT_EQ(Loaded(3, 10), "4: 2, 6");
    EXPECT_EQ(Loaded(3, 8), "4: 0, 9");
    EXPECT_EQ(Loaded(3, 7), "refused 2: 1, 9");
    EXPECT_EQ(Loaded(200, 208), "4: 128, 6");
    EXPECT_EQ(Loaded(0xFFFFFFFF, 208), "4: 128, 6");
    EXPECT_EQ(Show(QORJobInfoData(2, Bytes(200, 6).data(), 200)), "2: 128, 6");
    EXPECT_EQ(Show(QORJobInfoData(2, nullptr, 200)), "2: 0, 0");
}
