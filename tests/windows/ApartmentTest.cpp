#include "qorjob.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>

using QBase::PtrI;

namespace
{

/// Runs `iBody` on a thread in an apartment of that kind, and waits for it.
template <class Body>
void RunInApartment(DWORD iKind, Body iBody)
{
    std::thread([&] {
        ASSERT_EQ(::CoInitializeEx(nullptr, iKind), S_OK);
        iBody();
        ::CoUninitialize();
    }).join();
}

DWORD CountReferences(CKDXProcessContext* iContext)
{
    iContext->AddRef();
    return iContext->Release();
}

} // namespace

TEST(ProcessContext, IsTheSameObjectInEveryApartment)
{
    // The home doesn't answer messages meanwhile: a call by proxy would wait for it.
    for (const DWORD home : {COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED})
    {
        RunInApartment(home, [] {
            PtrI<CKDXProcessContext> context;
            ASSERT_EQ(CreateProcessContext(context), S_OK);
            LONG code = 0;
            for (const DWORD guest : {COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED})
            {
                IStream* stream = nullptr;
                ASSERT_EQ(::CoMarshalInterThreadInterfaceInStream(IID_ICKDXProcessContext, context.Get(), &stream),
                          S_OK);
                EXPECT_EQ(CountReferences(context.Get()), 2u) << "the stream holds one";
                RunInApartment(guest, [&] {
                    PtrI<ICKDXProcessContext> received;
                    ASSERT_EQ(::CoGetInterfaceAndReleaseStream(stream, IID_ICKDXProcessContext,
                                                               reinterpret_cast<void**>(received.Receive())),
                              S_OK);
                    ASSERT_EQ(received.Get(), static_cast<ICKDXProcessContext*>(context.Get()));
                    EXPECT_EQ(received->put_RequestCode(++code), S_OK);
                });
                EXPECT_EQ(CountReferences(context.Get()), 1u);
                LONG seen = 0;
                EXPECT_EQ(context->get_RequestCode(&seen), S_OK);
                EXPECT_EQ(seen, code);
            }
        });
    }
}
