// The library beside a program with a runtime of its own. The program is built twice: with the runtime linked in, as
// the library has it, and with the shared one.
#include "platform/builtin/Faults.h"
#include "platform/builtin/LogSinks.h"
#include "qorjob.h"
#include "tests/support/NullProcessContext.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using Builtin::LogSinks::Line;

namespace
{

std::function<void()> gThrow;

/// Has a type that the library has never heard of.
struct ProgramsMessage final : QBase::Message
{
    using Message::Message;
};

HRESULT FailingFactory(const QORJob*, int, QORJobData**)
{
    gThrow();
    return S_OK;
}

struct FailingItem final : QORBinaryData
{
    using QORBinaryData::QORBinaryData;
    HRESULT Reset() override
    {
        gThrow();
        return S_OK;
    }
};

struct FailingContext final : NullProcessContext
{
    HRESULT QORJOB_STDCALL QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    DWORD QORJOB_STDCALL AddRef() override { return 1; }
    DWORD QORJOB_STDCALL Release() override { return 1; }
    HRESULT QORJOB_STDCALL get_OutMessage(ICKDXWriteMessage**) override
    {
        gThrow();
        return S_OK;
    }
};

HRESULT AskContext(QORJob& ioJob)
{
    ICKDXWriteMessage* message = nullptr;
    return ioJob.GetOutMessage(&message);
}

HRESULT MakeItem(QORJob& ioJob)
{
    QORJobTask task(&ioJob);
    task.Init(FailingFactory);
    QORJobData* data = nullptr;
    return task.CreateJobDataObject(0, &data);
}

HRESULT ReplaceItem(QORJob& ioJob)
{
    EXPECT_EQ(ioJob.SetJobData(new FailingItem(0, nullptr, 0)), S_OK);
    return ioJob.SetJobData(new QORBinaryData(0, nullptr, 0));
}

/// The kind of what the library throws, as the program sees it.
std::string Catch(const std::function<void()>& iCall)
{
    try
    {
        iCall();
    }
    catch (const QRegistry::KeyException&)
    {
        return "key";
    }
    catch (const QBase::Message& message)
    {
        return message.what();
    }
    catch (const std::bad_alloc&)
    {
        return "memory";
    }
    return "nothing";
}

} // namespace

TEST(Runtime, IsTheOneThatThisProgramIsAbout)
{
    EXPECT_EQ(::GetModuleHandleA("libstdc++-6.dll") != nullptr, QORJOB_SHARED_RUNTIME);
}

TEST(Runtime, LetsTheProgramsExceptionsIntoTheLibrarysBoundary)
{
    std::vector<std::string> lines;
    const int sink = Builtin::LogSinks::AddSink([&](const Line& iLine) {
        char code[16];
        std::snprintf(code, sizeof(code), " %08X ", static_cast<unsigned>(iLine.mCode));
        lines.push_back(iLine.mRouter + code + iLine.mTemplateName + ": " + iLine.mText);
    });
    Builtin::LogSinks::Enable("Kernel", "Error", true);
    Builtin::LogSinks::Enable("Kernel", "Fatal", true);
    FailingContext context;
    const QBase::PtrI<QORJob> job(QORJob::NewJob(7, RequestReport, 5, nullptr, nullptr));
    job->SetProcessContext(&context);

    const std::pair<HRESULT (*)(QORJob&), std::string> operations[] = {
        {AskContext, "GetOutMessage, 7"},
        {MakeItem, "QORJobTask::CreateJobDataObject, 7"},
        {ReplaceItem, "SetJobData, 7"},
    };
    const std::string long200(200, 'x');
    const std::tuple<std::function<void()>, unsigned, std::string, std::string> kinds[] = {
        {[&] { throw QBase::Message(long200); }, 0x8004308B, "Error 8004308E QOR_JOB_EXCEPTION: ", ", " + long200},
        {[] { throw ProgramsMessage("its own"); }, 0x8004308B, "Error 8004308E QOR_JOB_EXCEPTION: ", ", its own"},
        {[] { throw std::runtime_error("r"); }, 0x8004308C, "Fatal 8004308F QOR_JOB_SYSTEMEXCEPTION: ", ""},
        {[] { throw 42; }, 0x8004308C, "Fatal 8004308F QOR_JOB_SYSTEMEXCEPTION: ", ""},
    };
    for (const auto& [operation, name] : operations)
    {
        for (const auto& [fault, code, logged, text] : kinds)
        {
            lines.clear();
            gThrow = fault;
            EXPECT_EQ(static_cast<unsigned>(operation(*job.Get())), code) << name;
            EXPECT_EQ(lines, std::vector<std::string>{logged + name + text});
        }
    }
    gThrow = [] {};
    job->SetProcessContext(nullptr);
    Builtin::LogSinks::Enable("Kernel", "*", false);
    Builtin::LogSinks::RemoveSink(sink);
}

TEST(Runtime, LetsTheLibrarysExceptionsOut)
{
    EXPECT_EQ(Catch([] { QRegistry::OpenKeyFromRoot(QRegistry::RootHives::CurrentUser, QORJOB_W("No such vendor")); }),
              "key");
    EXPECT_EQ(Catch([] { Builtin::LogSinks::AddFileSink("no\\such\\folder"); }),
              "The log file no\\such\\folder can't be opened.");
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(Catch([] { static_cast<void>(QBase::DefaultHeap()->allocate(5, 1)); }), "memory");
}

TEST(Runtime, SharesTheLibrarysHeap)
{
    const QBase::wstring name(100, QORJOB_W('n'));
    Builtin::Faults::StartCountingBlocks();
    {
        const QBase::PtrI<QORJob> job(QORJob::NewJob(7, RequestReport, 5, nullptr, nullptr));
        job->SetProjectName(name);
        QBase::wstring text;
        EXPECT_EQ(job->GetProjectName(text), S_OK); // the library's block
        EXPECT_TRUE(text == name);
        text += text; // the program's
        job->SetProjectName(text);
        EXPECT_EQ(job->GetProjectName(text), S_OK);
        EXPECT_EQ(text.size(), 200u);

        QORJobTask task(job.Get());
        EXPECT_EQ(task.SetOutput(0, QBase::HeapAllocate(64), 64), S_OK);
        EXPECT_EQ(task.SetOutput(new QORBinaryData(1, QBase::HeapAllocate(64), 64)), S_OK);
        EXPECT_EQ(QBase::WideCharToUTF8(QBase::UTF8ToWideChar(std::string(100, 'u'))), std::string(100, 'u'));
    }
    EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 0);
}
