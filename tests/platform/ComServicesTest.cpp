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

TEST(ErrorObjects, KeepEachOfTheirValues)
{
    ICreateErrorInfo* made = nullptr;
    ASSERT_EQ(CreateErrorInfo(&made), S_OK);
    const auto created = PtrI<ICreateErrorInfo>::Adopt(made);
    const auto info = QueryFor<IErrorInfo>(made, IID_IErrorInfo);
    EXPECT_EQ(info.Get() != nullptr && QueryFor<ICreateErrorInfo>(info.Get(), IID_ICreateErrorInfo).Get() == made,
              true);
    QBase::wstring texts[] = {QORJOB_W("source"), QORJOB_W("description"), QORJOB_W("help")};
    EXPECT_EQ(created->SetGUID(IID_IErrorInfo), S_OK);
    EXPECT_EQ(created->SetSource(texts[0].data()), S_OK);
    EXPECT_EQ(created->SetDescription(texts[1].data()), S_OK);
    EXPECT_EQ(created->SetHelpFile(texts[2].data()), S_OK);
    EXPECT_EQ(created->SetHelpContext(7), S_OK);
    GUID id = GUID_NULL;
    EXPECT_EQ(info->GetGUID(&id), S_OK);
    EXPECT_TRUE(id == IID_IErrorInfo);
    DWORD context = 0;
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, 7u);
    std::size_t place = 0;
    for (const auto get : {&IErrorInfo::GetSource, &IErrorInfo::GetDescription, &IErrorInfo::GetHelpFile})
    {
        BSTR text = nullptr;
        EXPECT_EQ((info.Get()->*get)(&text), S_OK);
        EXPECT_TRUE(texts[place++] == text);
        SysFreeString(text);
    }
}

#if !defined(_WIN32)

TEST(ErrorObjects, RefuseWhatTheyCantFill)
{
    const auto info = NewErrorInfo();
    EXPECT_EQ(CreateErrorInfo(nullptr), E_INVALIDARG);
    EXPECT_EQ(SetErrorInfo(1, info.Get()), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
    IErrorInfo* taken = nullptr;
    EXPECT_EQ(GetErrorInfo(1, &taken), E_INVALIDARG);
    EXPECT_EQ(info->GetGUID(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetSource(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetHelpContext(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->QueryInterface(IID_IErrorInfo, nullptr), E_POINTER);
    void* other = info.Get();
    EXPECT_EQ(info->QueryInterface(IID_IMarshal, &other), E_NOINTERFACE);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(info->QueryInterface(IID_IUnknown, &other), S_OK);
    info->Release();
    BSTR text = nullptr;
    EXPECT_EQ(info->GetSource(&text), S_OK);
    EXPECT_EQ(text, nullptr) << "one that was never set";
}

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
    GUID id = GUID_NULL;
    constexpr DWORD cOtherMachine = 2;
    for (const auto& [context, code] : {std::pair{MSHCTX_INPROC, S_OK}, {cOtherMachine, E_NOTIMPL}})
    {
        EXPECT_EQ(marshal->GetUnmarshalClass(IID_IUnknown, nullptr, context, nullptr, 0, &id), code);
        EXPECT_TRUE(id == CLSID_InProcFreeMarshaler);
        EXPECT_EQ(marshal->GetMarshalSizeMax(IID_IUnknown, nullptr, context, nullptr, 0, &bytes), code);
    }
    EXPECT_EQ(marshal->MarshalInterface(&stream, IID_IUnknown, &outer, cOtherMachine, nullptr, 0), E_NOTIMPL);
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
    EXPECT_EQ(CoCreateFreeThreadedMarshaler(nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(marshal->GetUnmarshalClass(IID_IUnknown, nullptr, MSHCTX_INPROC, nullptr, 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(marshal->GetMarshalSizeMax(IID_IUnknown, nullptr, MSHCTX_INPROC, nullptr, 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(marshal->MarshalInterface(nullptr, IID_IUnknown, &outer, MSHCTX_INPROC, nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(marshal->UnmarshalInterface(&stream, IID_IUnknown, nullptr), E_INVALIDARG);
    EXPECT_EQ(marshal->UnmarshalInterface(nullptr, IID_IUnknown, &object), E_INVALIDARG);
    EXPECT_EQ(outer.mpMarshaler->QueryInterface(IID_IMarshal, nullptr), E_POINTER);
    EXPECT_EQ(outer.mpMarshaler->QueryInterface(IID_IErrorInfo, &object), E_NOINTERFACE);
    EXPECT_EQ(outer.mpMarshaler->QueryInterface(IID_IUnknown, &object), S_OK);
    EXPECT_EQ(object, outer.mpMarshaler);
    EXPECT_EQ(outer.mpMarshaler->Release(), 1u);
    EXPECT_EQ(marshal->DisconnectObject(0), S_OK);
    marshal = {};
    EXPECT_EQ(outer.mpMarshaler->AddRef(), 2u);
    EXPECT_EQ(outer.mpMarshaler->Release(), 1u);
    EXPECT_EQ(outer.mpMarshaler->Release(), 0u);
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
