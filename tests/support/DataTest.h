// Helpers of the data tests: texts, bytes, and buffers of an exact length.
#pragma once

#include "data/QORBinaryData.h"
#include "tests/support/JobTest.h"

#include <memory>

using Bytes = std::vector<signed char>;

inline constexpr signed char cUntouched = 0x55;

/// Notes what strangers are called, and throws from the one call that it is told of.
struct Strangers
{
    void Note(const std::string& iCall)
    {
        mCalls.push_back(iCall);
        if (iCall != mThrowing)
            return;
        mThrowing.clear();
        if (mbMessage)
            throw QBase::Message("broken");
        throw 1;
    }

    Texts mCalls{};
    std::string mThrowing{};
    bool mbMessage = false;
};

/// Counts its references and tells of its calls; goes with the test, not with its last reference.
class FakeData final : public QORBinaryData
{
public:
    FakeData(const std::string& iName, int iId, Strangers& ioStrangers)
        : QORBinaryData(iId, nullptr, 0), mName(iName), mStrangers(ioStrangers)
    {
    }

    HRESULT GetId(unsigned* oId) const override { return Note(" GetId"), QORBinaryData::GetId(oId); }
    HRESULT GetSaveObjSize(unsigned, unsigned* oSize) const override { return Note(" save"), *oSize = 0, S_OK; }
    DWORD AddRef() override { return ++mReferences, Note(" AddRef"), mReferences; }
    DWORD Release() override { return --mReferences, Note(" Release"), mReferences; }

    DWORD mReferences = 0;

private:
    void Note(const char* iOperation) const { mStrangers.Note(mName + iOperation); }

    const std::string mName;
    Strangers& mStrangers;
};

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
