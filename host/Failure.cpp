#include "host/Failure.h"

#include "host/Boundary.h"
#include "host/Core.h"

#include <cstdio>
#include <new>
#include <utility>

namespace QORHOST
{

namespace
{

/// Empty where there is none, or no request that it answers.
QBase::PtrI<CKDXServerMessage> AnswerOf(ICKDXProcessContext* ioContext)
{
    if (ioContext == nullptr)
        return {};
    QBase::PtrI<ICKDXWriteMessage> message;
    void* answer = nullptr;
    if (FAILED(ioContext->get_OutMessage(message.Receive())) || !message ||
        FAILED(message->QueryInterface(IID_CKDXServerMessage, &answer)))
        return {};
    return QBase::PtrI<CKDXServerMessage>::Adopt(static_cast<CKDXServerMessage*>(answer));
}

/// Whether whoever reads the code finds a text for it: told by packing it and reading it back.
bool HasText(HRESULT iCode)
{
    const auto request = QMessage::NewReadMessage(nullptr, 0);
    QBase::PtrI<ICKDXWriteMessage> message;
    if (!request ||
        FAILED(QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(request.Get(), false, message.Receive())))
        throw std::bad_alloc();
    {
        const QORMessagePacker packer(message.Get(), QORJOB_W("Kernel"), static_cast<unsigned>(iCode));
    }
    QBase::PtrI<ICKDXReadBlockStream> stream;
    std::unique_ptr<QORMessageUnpacker> unpacker;
    Expect(message->get_BlockStream(stream.Receive()), "get_BlockStream");
    Expect(QORMessageUnpacker::Create(stream.Get(), QORMessageUnpacker::cNoLanguage, unpacker), "Create");
    return !unpacker->Build().starts_with(QResource::GetMessageTemplate());
}

} // namespace

void ThrowCallError(HRESULT iCode, const char* iOperation)
{
    throw CallError(std::string(iOperation) + " failed with " + ToText(iCode));
}

int StatusOf(const QORJob& iJob)
{
    int status = JobReady;
    iJob.GetStatus(&status);
    return status;
}

std::string ToText(HRESULT iCode)
{
    char text[16] = "";
    std::snprintf(text, sizeof(text), "0x%08X", static_cast<unsigned>(iCode));
    return text;
}

std::string ReasonOf(const std::exception_ptr& iFailure)
{
    std::string reason = "an unknown exception";
    IsA<std::exception>(iFailure, [&](const std::exception& iError) { reason = iError.what(); });
    return reason;
}

QORHostError MakeError(const std::string& iStep, int iJobId, const std::string& iReason)
{
    return {cStepFailed, {iStep, std::to_string(iJobId), iReason}, iReason};
}

QORHostError ToError(const std::exception_ptr& iFailure, const std::string& iStep, int iJobId)
{
    const std::string reason = ReasonOf(iFailure);
    const std::string job = std::to_string(iJobId);
    QORHostError error(cUnknownException, {iStep, job}, reason);
    if (IsA<QORHostError>(iFailure, [&](const QORHostError& iError) { error = iError; }))
        return HasText(error.GetCode()) ? error
                                        : MakeError(iStep, iJobId, reason + " (" + ToText(error.GetCode()) + ")");
    if (IsA<std::bad_alloc>(iFailure, [](const auto&) {}))
        return {E_OUTOFMEMORY, {}, "there is not enough memory"};
    if (IsA<std::exception>(iFailure, [](const auto&) {}))
        return {cJobException, {iStep, job, reason}, reason};
    return error;
}

void ReportError(QORJob& ioJob, ICKDXProcessContext* ioContext, const QORHostError& iError)
{
    if (const auto answer = AnswerOf(ioContext))
        Expect(answer->Reset(), "Reset");
    std::vector<QBase::wstring> arguments;
    for (const std::string& argument : iError.GetArguments())
        arguments.push_back(QBase::UTF8ToWideChar(argument));
    const auto error = ioJob.GetJobErrorBuilder(iError.GetCode());
    if (!error)
        throw std::bad_alloc();
    for (const QBase::wstring& argument : arguments)
        *error << argument.c_str();
}

void ReportCancellation(ICKDXProcessContext* ioContext, const std::string& iReason)
{
    const auto answer = AnswerOf(ioContext);
    if (!answer)
        return;
    Expect(answer->Reset(), "Reset");
    {
        QORMessagePacker packer(answer.Get(), QORJOB_W("Kernel"), static_cast<unsigned>(cJobCancelled));
        if (!iReason.empty())
            packer << std::string_view(iReason);
    }
    Expect(answer->SetResult(cJobCancelled), "SetResult");
}

// --- The core's part, under the record's lock. ---

/// A job that fails or is cancelled keeps its current step and gets what reports behind it. Where that is the closing
/// step, which nobody has begun, it would close before it reports: it goes, and is made anew behind that.
bool Core::MakeWayForReport(Record& ioRecord)
{
    int stepId = StepNoMore; // so it is in a held state, too, whatever the current step
    if (ioRecord.mState == EnumHostState::Running || FAILED(ioRecord.mpJob->GetCurrentStepId(&stepId, nullptr)) ||
        (stepId != StepCloseJob && stepId != StepNoMore))
        return false;
    ioRecord.mpJob->RemoveStep(StepCloseJob);
    return true;
}

/// What tells of the error is left of the job's steps, and the closing one.
void Core::Fail(Hold& ioHold, const QORHostError& iError)
{
    Record& record = ioHold.GetRecord();
    MakeWayForReport(record);
    ReportError(*record.mpJob.Get(), record.mpContext.Get(), iError);
    record.mReason = iError.what();
    record.mbPaused = false;
    record.mRetryAt = cNever;
    ioHold.CancelChildrenLater();
    mLog.Write(EnumRouter::Error, "Job %1 failed: %2", record.mId, record.mReason);
}

/// Of a step, as Execute has put it.
void Core::Fail(Hold& ioHold, const std::exception_ptr& iError)
{
    const Record& record = ioHold.GetRecord();
    if (!IsA<QORHostError>(iError, [&](const QORHostError& iHosts) { Fail(ioHold, iHosts); }))
        Fail(ioHold, ToError(iError, GetStepName(record.mStatisticsStep), record.mId));
}

void Core::FailOverdue(Hold& ioHold, const char* iReason)
{
    const Record& record = ioHold.GetRecord();
    const std::exception_ptr failure =
        Catch([&] { Fail(ioHold, MakeError(GetStepName(record.mStatisticsStep), record.mId, iReason)); });
    if (failure != nullptr)
        Break(ioHold, failure);
}

/// The library or the memory fails where the host can't do without: the job ends without another step.
void Core::Break(Hold& ioHold, const std::exception_ptr& iFailure) noexcept
{
    Record& record = ioHold.GetRecord();
    if (std::exchange(record.mbBroken, true))
        return; // and it has been said
    int status = JobReady;
    record.mpJob->GetStatus(&status);
    if (!QORJOB::HasEnded(status) && Catch([&] { Fail(ioHold, ToError(iFailure, "the host", record.mId)); }) != nullptr)
        record.mpJob->SetStatus(JobStoppedWithError, nullptr);
    mLog.Write(EnumRouter::Error, "Job %1 ends without its last steps", record.mId);
    ioHold.CancelChildrenLater();
}

} // namespace QORHOST
