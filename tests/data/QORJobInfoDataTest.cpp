#include "data/QORJobInfoData.h"

#include "data/QORStringData.h"
#include "tests/data/DataTest.h"

#include <cstring>

namespace
{

using InfoData = JobTest;

/// "id: size, first byte of the data"
std::string Show(const QORJobInfoData& iRecord)
{
    const void* data = nullptr;
    EXPECT_EQ(iRecord.GetData(&data), S_OK);
    return std::to_string(Read(iRecord, &QORJobInfoData::GetId)) + ": " +
           std::to_string(Read(iRecord, &QORJobInfoData::GetSize)) + ", " +
           std::to_string(*static_cast<const signed char*>(data));
}

} // namespace

TEST_F(InfoData, KeepWhatAnItemSavesInto128Bytes)
{
    const struct
    {
        int mId;
        unsigned mLength;
        const char* mBinary;
        const char* mText;
    } items[] = {
        {3, 64, "3: 64, 5", "3: 128, 116"},    {3, 128, "3: 128, 5", "3: 0, 0"},        {3, 129, "3: 0, 0", "3: 0, 0"},
        {14, 65, "14: 65, 5", "14: 128, 116"}, {14, 200, "14: 200, 0", "14: 128, 116"},
    };
    for (const auto& item : items)
    {
        QORJobInfoData record(1, "\t", 1);
        record = Binary(item.mId, Bytes(item.mLength, 5));
        EXPECT_EQ(Show(record), item.mBinary);
        record = QORJobInfoData(1, "\t", 1);
        const QBase::wstring text(item.mLength, W('t'));
        record = QORStringData(item.mId, text.c_str(), QORStringData::COPY_STRING);
        EXPECT_EQ(Show(record), item.mText);
    }
}

TEST_F(InfoData, SaveIdSizeAndData)
{
    const QORJobInfoData record(-2, "abc", 3);
    const Bytes whole = {-2, -1, -1, -1, 3, 0, 0, 0, 'a', 'b', 'c'};
    unsigned size = 0;
    EXPECT_EQ(Save(record, 2, 11), (Saved{S_FALSE, 11, Bytes(11, cUntouched)}));
    EXPECT_EQ(Save(record, 3, 11), (Saved{S_OK, 11, whole})) << "the data alone are held against the maximum";
    for (const HRESULT code : {record.SaveObj(7, 3, nullptr, &size), record.SaveObj(7, 3, nullptr, nullptr),
                               record.GetId(nullptr), record.GetSize(nullptr), record.GetData(nullptr),
                               record.GetSaveObjSize(7, nullptr), QORJobInfoData().LoadObj(8, nullptr)})
        EXPECT_EQ(code, E_POINTER);

    // The size of an item that wrote nothing: what isn't here is saved as zeros, not as bytes of the item before.
    QORJobInfoData large = record;
    large = Binary(14, Bytes(200, 5));
    Bytes zeros(208, 0);
    zeros[0] = 14;
    zeros[4] = static_cast<signed char>(200);
    EXPECT_EQ(Save(large, 200, 208), (Saved{S_OK, 208, zeros}));
}

TEST_F(InfoData, LoadNoMoreThanThereIsAndThanTheyHold)
{
    const struct
    {
        std::uint32_t mTold;
        unsigned mGiven;
        HRESULT mCode;
        const char* mShown;
    } loads[] = {
        {3, 11, S_OK, "4: 3, 6"},        {3, 10, S_OK, "4: 2, 6"},        {3, 8, S_OK, "4: 0, 9"},
        {128, 136, S_OK, "4: 128, 6"},   {200, 208, S_OK, "4: 128, 6"},   {0xFFFFFFFF, 208, S_OK, "4: 128, 6"},
        {3, 7, E_INVALIDARG, "2: 1, 9"}, {3, 0, E_INVALIDARG, "2: 1, 9"},
    };
    for (const auto& load : loads)
    {
        Bytes bytes(208, 6);
        const std::uint32_t head[] = {4, load.mTold};
        std::memcpy(bytes.data(), head, sizeof(head));
        QORJobInfoData record(2, "\t", 1);
        const Bytes given(bytes.begin(), bytes.begin() + load.mGiven);
        EXPECT_EQ(record.LoadObj(load.mGiven, load.mGiven == 0 ? bytes.data() : given.data()), load.mCode);
        EXPECT_EQ(Show(record), load.mShown);
    }
    EXPECT_EQ(Show(QORJobInfoData(2, Bytes(200, 6).data(), 200)), "2: 128, 6");
    EXPECT_EQ(Show(QORJobInfoData(2, nullptr, 200)), "2: 0, 0");
}
