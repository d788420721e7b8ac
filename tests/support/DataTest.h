// Helpers of the data tests: texts, bytes, and buffers of an exact length.
#pragma once

#include "data/QORBinaryData.h"
#include "tests/support/JobTest.h"

#include <memory>

using Bytes = std::vector<signed char>;

inline constexpr signed char cUntouched = 0x55;

inline std::string TextOf(const QBase::WCHAR* iText)
{
    return iText == nullptr ? "(null)" : QBase::WideCharToUTF8(iText);
}

/// Takes a copy that the library gave, and frees it.
inline std::string TakeText(QBase::WCHAR* iText)
{
    const std::unique_ptr<QBase::WCHAR, QBase::HeapDeleter> text(iText);
    return TextOf(iText);
}

inline const void* PayloadOf(const QORJobData& iItem)
{
    const void* payload = nullptr;
    EXPECT_EQ(iItem.GetData(&payload), S_OK);
    return payload;
}

inline std::string TextIn(const QORJobData& iItem)
{
    return TextOf(static_cast<const QBase::WCHAR*>(PayloadOf(iItem)));
}

inline QORBinaryData Binary(int iId, const Bytes& iBytes)
{
    void* block = QBase::HeapAllocate(iBytes.size());
    std::copy(iBytes.begin(), iBytes.end(), static_cast<signed char*>(block));
    return {iId, block, static_cast<unsigned>(iBytes.size())};
}

struct Saved
{
    HRESULT mCode;
    unsigned mSize;
    Bytes mBytes;

    bool operator==(const Saved&) const = default;
};

/// Saves into `iRoom` bytes that end where the heap's block ends.
template <class Item>
Saved Save(const Item& iItem, unsigned iMaxSize, unsigned iRoom)
{
    Saved saved{E_FAIL, 0, Bytes(iRoom, cUntouched)};
    saved.mCode = iItem.SaveObj(7, iMaxSize, saved.mBytes.data(), &saved.mSize);
    return saved;
}
