// How an error turns a job into one that reports it and closes, and how the error reads afterwards.
#include "job/QORJobError.h"

#include "context/CKDXProcessContext.h"
#include "context/Collaborators.h"
#include "platform/QLog.h"
#include "platform/builtin/Settings.h"
#include "tests/support/JobTest.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Messages.h"

#include <stdexcept>

namespace
{

constexpr auto cFailure = static_cast<HRESULT>(0x8004308E); // "... in %1 for job %2: %3"
constexpr auto cOther = static_cast<HRESULT>(0x80043018);

/// Notes what is written into it.
class FakeWriteMessage final : public ICKDXWriteMessage
{
public:
    HRESULT QORJOB_STDCALL QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    DWORD QORJOB_STDCALL AddRef() override { return ++mReferences; }
    DWORD QORJOB_STDCALL Release() override { return --mReferences; }
    HRESULT QORJOB_STDCALL get_State(int*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Item(IUnknown**) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL set_ErrorCode(HRESULT iCode) override
    {
        return mCalls.push_back("code " + std::to_string(iCode)), S_OK;
    }
    HRESULT QORJOB_STDCALL get_ErrorCode(HRESULT*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL AppendBlocks(const void*, std::size_t) override { return mCalls.push_back("entry"), S_OK; }
    HRESULT QORJOB_STDCALL get_BlockStream(ICKDXReadBlockStream**) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL Close() override { return E_NOTIMPL; }

    Texts mCalls;
    DWORD mReferences = 0;
};

class JobError : public JobTest
{
protected:
    JobError() { EXPECT_EQ(CreateProcessContext(mContext), S_OK); }

    /// A job with a context that has a message to write errors into.
    JobPtr NewErrorJob(const std::string& iTodo, int iStatus = JobExecuting)
    {
        const auto in = QMessage::NewReadMessage(nullptr, 0);
        EXPECT_EQ(mContext->SetRequestIn(0, in.Get(), nullptr, nullptr, GUID_NULL), S_OK);
        JobPtr job = NewJobWith(iTodo, iStatus);
        EXPECT_EQ(job->SetProcessContext(mContext.Get()), S_OK);
        TakeLog();
        return job;
    }

    static std::string TextOf(const QORJob& iJob)
    {
        QBase::wstring text(QORJOB_W("-"));
        EXPECT_EQ(iJob.GetJobError(text), S_OK);
        return QBase::WideCharToUTF8(text);
    }

    QBase::PtrI<CKDXProcessContext> mContext;
};

} // namespace

TEST_F(JobError, IsInTheMessageThatTheJobGives)
{
    const JobPtr job = NewErrorJob("3 4 2");
    *job->GetJobErrorBuilder(cOther) << QORJOB_W("Climate");
    const auto message = Given(mContext, &ICKDXProcessContext::get_OutMessage);
    for (const auto get : {&QORJob::GetErrMessage, &QORJob::GetOutMessage})
        EXPECT_EQ(QBase::PtrI<ICKDXWriteMessage>::Adopt(Read(*job.Get(), get)).Get(), message.Get());
    EXPECT_EQ(CodesIn(message), (Codes{0x80043018}));
}

TEST_F(JobError, AsksForTheDeliveryUnlockedAndCommitsItsCodeBeforeItsText)
{
    FakeWriteMessage message;
    FakeProcessContext context;
    const JobPtr job = NewJobWith("3 4 2", 1);
    context.mpOutMessage = &message;
    EXPECT_EQ(job->SetProcessContext(&context), S_OK);
    bool bFree = false;
    LockProbe probe;
    context.mOnCall = [&](const std::string& iOperation) {
        if (iOperation == "get_ContextObjectN")
            bFree = probe.IsFree(*job.Get());
    };
    *job->GetJobErrorBuilder(cFailure) << QORJOB_W("here");
    EXPECT_TRUE(bFree);
    EXPECT_EQ(message.mCalls, (Texts{"code " + std::to_string(cFailure), "entry"}));
    EXPECT_EQ(message.mReferences, 0u);
}

TEST_F(JobError, ReadsInTheLanguageOfTheUser)
{
    const JobPtr job = NewErrorJob("3 4 2");
    *job->GetJobErrorBuilder(cOther) << QORJOB_W("Climate");
    const std::pair<unsigned, const char*> cTexts[] = {
        {0x0409, "The request can't be processed now. It waits for project Climate."},
        {0x0407, "Die Anforderung kann jetzt nicht bearbeitet werden. Sie wartet auf das Projekt Climate."},
    };
    for (const auto& [locale, text] : cTexts)
    {
        Builtin::Settings::SetUserDefaultLCID(locale);
        EXPECT_EQ(TextOf(*job.Get()), text);
        QBase::WCHAR* copy = nullptr;
        EXPECT_EQ(job->GetJobError(&copy), S_OK);
        EXPECT_EQ(QBase::WideCharToUTF8(copy), text);
        QBase::HeapFree(copy);
    }
    Builtin::Settings::SetUserDefaultLCID(0x0409);
}

TEST_F(JobError, TakesEachTypeAsItsText)
{
    const JobPtr job = NewErrorJob("3");
    QBase::WCHAR text[] = {'t', 0};
    {
        const auto error = job->GetJobErrorBuilder(static_cast<HRESULT>(0x8004FFFF));
        *error << true << char(-1) << short(-2) << static_cast<unsigned char>(255)
               << static_cast<unsigned short>(65535);
        *error << 5 << 6U << 7L << 0.5F << 0.25 << QORJOB_W("w") << text << static_cast<QBase::WCHAR*>(nullptr);
        *error << QLog::Format::Hex << 255 << QLog::Format::Dec << 255 << GUID_NULL;
    }
    // An error without a text shows its arguments.
    EXPECT_EQ(TextOf(*job.Get()), "-?- 0x8004FFFF: true, -1, -2, 255, 65535, 5, 6, 7, 0.5, 0.25, w, t, , 0xFF, 255, "
                                  "{00000000-0000-0000-0000-000000000000}");
}

TEST_F(JobError, LeavesTheLockFreeWhenTheContextThrows)
{
    FakeProcessContext context;
    const JobPtr job = NewJobWith("3 4 2", 1);
    job->SetProcessContext(&context);
    for (const char* throwing : {"get_ContextObjectN", "get_OutMessage", "get_UserContextLogFlag"})
    {
        context.mOnCall = [&](const std::string& iOperation) {
            if (iOperation == throwing)
                throw std::runtime_error("a fault");
        };
        if (throwing != std::string("get_UserContextLogFlag"))
            EXPECT_THROW(job->GetJobErrorBuilder(cFailure), std::runtime_error) << throwing;
        else
            EXPECT_FALSE(GetUsrContextLogFlag(&context));
        RunOnThreads(1, [&](int) { EXPECT_EQ(Read(*job.Get(), &QORJob::GetPriority), cJobPriority); });
    }
    context.mOnCall = {};
}
