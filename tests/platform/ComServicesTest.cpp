#include "platform/ComObject.h"
#include "platform/QBase.h"
#include "platform/Windows.h"
#include "tests/support/OperationPlace.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <string>

using QBase::PtrI;

namespace
{

PtrI<IErrorInfo> NewErrorInfo()
{
    ICreateErrorInfo* created = nullptr;
    EXPECT_EQ(CreateErrorInfo(&created), S_OK);
    return QueryFor<IErrorInfo>(PtrI<ICreateErrorInfo>::Adopt(created).Get(), IID_IErrorInfo);
}

PtrI<IErrorInfo> TakeErrorInfo(HRESULT iExpected = S_OK)
{
    IErrorInfo* info = nullptr;
    EXPECT_EQ(GetErrorInfo(0, &info), iExpected);
    return PtrI<IErrorInfo>::Adopt(info);
}

} // namespace

TEST(ErrorObjects, BelongToTheirThreadUntilTheyAreTaken)
{
    const auto info = NewErrorInfo();
    EXPECT_EQ(SetErrorInfo(0, info.Get()), S_OK);
    RunOnThreads(1, [](int) {
        EXPECT_FALSE(TakeErrorInfo(S_FALSE));
        SetErrorInfo(0, NewErrorInfo().Get()); // goes with its thread
    });
    EXPECT_EQ(TakeErrorInfo().Get(), info.Get());
    EXPECT_FALSE(TakeErrorInfo(S_FALSE));
    EXPECT_EQ(info->AddRef(), 2u);
    info->Release();
}

#if !defined(_WIN32)

namespace
{

/// Counts its references; stands on the stack of a test.
class Outer final : public IUnknown
{
public:
    HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        if (iInterfaceId != IID_IUnknown)
            return mpMarshaler->QueryInterface(iInterfaceId, oInterface);
        *oInterface = this;
        AddRef();
        return S_OK;
    }
    DWORD AddRef() override { return ++mReferences; }
    DWORD Release() override { return --mReferences; }

    IUnknown* mpMarshaler = nullptr;
    DWORD mReferences = 1;
};

class MemoryStream final : public IStream
{
public:
    HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    DWORD AddRef() override { return 1; }
    DWORD Release() override { return 1; }

    HRESULT Read(void* oBytes, DWORD iBytes, DWORD* oRead) override
    {
        *oRead = static_cast<DWORD>(mBytes.copy(static_cast<char*>(oBytes), iBytes));
        mBytes.erase(0, *oRead);
        return S_OK;
    }
    HRESULT Write(const void* iBytes, DWORD iByteCount, DWORD* oWritten) override
    {
        *oWritten = iByteCount;
        mBytes.append(static_cast<const char*>(iBytes), *oWritten);
        return S_OK;
    }

    std::string mBytes;
};

} // namespace

TEST(FreeThreadedMarshaler, HandsThePointerItselfToOtherThreads)
{
    Outer outer;
    ASSERT_EQ(CoCreateFreeThreadedMarshaler(&outer, &outer.mpMarshaler), S_OK);
    EXPECT_EQ(outer.mReferences, 1u) << "the marshaler is its owner's, not the reverse";
    auto marshal = QueryFor<IMarshal>(&outer, IID_IMarshal);
    EXPECT_EQ(outer.mReferences, 2u);

    MemoryStream stream;
    DWORD bytes = 0;
    EXPECT_EQ(marshal->GetMarshalSizeMax(IID_IUnknown, nullptr, MSHCTX_INPROC, nullptr, 0, &bytes), S_OK);
    EXPECT_EQ(marshal->MarshalInterface(&stream, IID_IUnknown, &outer, MSHCTX_INPROC, nullptr, 0), S_OK);
    EXPECT_EQ(stream.mBytes.size(), bytes);
    EXPECT_EQ(outer.mReferences, 3u) << "the stream holds one";
    RunOnThreads(1, [&](int) {
        void* object = nullptr;
        EXPECT_EQ(marshal->UnmarshalInterface(&stream, IID_IUnknown, &object), S_OK);
        EXPECT_EQ(object, &outer);
        outer.Release();
    });
    EXPECT_EQ(marshal->MarshalInterface(&stream, IID_IUnknown, nullptr, MSHCTX_INPROC, nullptr, 0), S_OK);
    EXPECT_EQ(marshal->ReleaseMarshalData(&stream), S_OK);
    EXPECT_EQ(outer.mReferences, 2u);

    // What can't be done leaves no reference behind.
    void* object = &outer;
    EXPECT_EQ(marshal->UnmarshalInterface(&stream, IID_IUnknown, &object), E_FAIL);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(outer.mReferences, 2u);
    marshal = {};
    outer.mpMarshaler->Release();
    EXPECT_EQ(outer.mReferences, 1u);
}

TEST(ComInterfaces, HaveTheirOperationsWhereTheSystemHasThem)
{
    EXPECT_EQ(PlaceOf(&IErrorInfo::GetGUID), 3u);
    EXPECT_EQ(PlaceOf(&IErrorInfo::GetHelpContext), 7u);
    EXPECT_EQ(PlaceOf(&ICreateErrorInfo::SetGUID), 3u);
    EXPECT_EQ(PlaceOf(&ICreateErrorInfo::SetHelpContext), 7u);
    EXPECT_EQ(PlaceOf(&IMarshal::GetUnmarshalClass), 3u);
    EXPECT_EQ(PlaceOf(&IMarshal::DisconnectObject), 8u);
}

#endif
