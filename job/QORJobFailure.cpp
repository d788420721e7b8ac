#include "base/KernelLog.h"
#include "context/Collaborators.h"
#include "context/ICKDXProcessContext.h"
#include "data/QORNamedIdsList.h"
#include "job/QORJobError.h"
#include "job/QORJobRows.h"
#include "platform/QFormat.h"
#include "platform/QLogRouter.h"
#include "record/QORJobStep.h"

#include <new>

QSynch::SmartPtr<QORJobError, QBase::DeleteC<QORJobError>> QORJob::GetJobErrorBuilder(HRESULT iCode)
{
    return QSynch::SmartPtr<QORJobError, QBase::DeleteC<QORJobError>>(new QORJobError(*this, iCode));
}

/// False for a job that has failed before, and for a dead one that is reporting or closing already: only its status is
/// changed.
bool QORJob::BecomeErrorJob(HRESULT iCode, int iReportingStepId)
{
    int old = -1;
    SetStatus(JobStoppedWithError, &old);
    if (QORJOB::HasFailed(old))
        return false;
    if (mbIAmDead && !CanDeadJobReport(iCode, iReportingStepId))
        return false;
    if (mSteps.ReduceToClosing(iReportingStepId) != S_OK)
        throw std::bad_alloc();
    if (mErrorCode == S_OK)
        mErrorCode = iCode; // the first error wins
    return true;
}

/// Whether a dead job still takes an error step: not when that is queued or has run already.
bool QORJob::CanDeadJobReport(HRESULT iCode, int iReportingStepId) const
{
    const auto idOf = [](const auto& iSteps) {
        return !iSteps.empty() && iSteps.front() != nullptr ? StepQueue::IdOf(*iSteps.front()) : int{StepNoMore};
    };
    if (mSteps.GetTodo().empty())
        return false;
    const int next = idOf(mSteps.GetTodo());
    if (next != StepCloseJob)
        return next != iReportingStepId;
    const int last = idOf(mSteps.GetFinished());
    if (last != iReportingStepId)
        LogLine(EnumKernelRouter::Error,
                "QORJobError::QORJobError: when adding error %1 into job %2, find job's last finished step is %3 but "
                "todo step is CloseJob step.",
                QLog::Format::Hex, iCode, QLog::Format::Dec, mId.Get(), last);
    return false;
}

HRESULT QORJob::GetJobError(QBase::wstring& oText) const
{
    return Boundary([&]() -> HRESULT {
        // The context, its session and its message are called under the lock on purpose: all errors of the text are
        // there at one moment.
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        QBase::PtrI<ICKDXWriteMessage> message;
        if (FAILED(FetchContextMessage(message)) || !message)
            return S_OK;
        const unsigned locale = QFormat::GetUserDefaultLCID();
        if (const auto session = SessionOf(*mpProcessContext.Get()))
            session->FillLocalisation(mOrigin.Read().mProjectID, cLocaliseProject);
        return QMessage::CKDXWriteMessage::GetErrorsFromMessage(locale, message.Get(), oText);
    });
}

HRESULT QORJob::GetJobError(QBase::WCHAR** oText) const
{
    if (oText == nullptr)
        return E_POINTER;
    *oText = nullptr;
    Boundary([&] {
        QBase::wstring text;
        GetJobError(text);
        *oText = QORNamedIdsList::DuplicateString(text.c_str());
        return S_OK;
    });
    return S_OK;
}

HRESULT QORJob::UpdateJobError(const QBase::WCHAR* iSource, unsigned iCode, int iArgument)
{
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        QBase::PtrI<ICKDXWriteMessage> message;
        const HRESULT code = FetchContextMessage(message);
        if (FAILED(code))
            return code;
        if (!message)
            return E_POINTER;
        QORMessagePacker packer(message.Get(), iSource, iCode);
        packer << iArgument;
        return code;
    });
}

/// Never writes true: callers set their flag to true before they ask.
HRESULT QORJob::IsError(bool* obError) const
{
    if (obError == nullptr)
        return E_POINTER;
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mStatus != JobStoppedWithError)
            *obError = false;
        return S_OK;
    });
}

HRESULT QORJob::GetErrCode(HRESULT* oCode) const { return Get(mErrorCode, oCode); }

HRESULT QORJob::SetComponentErrorCode(HRESULT iCode) { return Set(mComponentErrorCode, iCode); }

HRESULT QORJob::GetComponentErrorCode(HRESULT* oCode) const { return Get(mComponentErrorCode, oCode); }

HRESULT QORJob::GetComponentErrorCodeEx(HRESULT* oCode) const
{
    if (oCode == nullptr)
        return E_POINTER;
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        *oCode = mComponentErrorCode != S_OK ? mComponentErrorCode : mErrorCode;
        return S_OK;
    });
}
