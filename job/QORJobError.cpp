#include "job/QORJobError.h"

#include "context/ICKDXProcessContext.h"
#include "job/QORJobRows.h"

/// Without the lock analysis, which can't see that mpLock locks the job.
QORJobError::QORJobError(QORJob& ioJob, HRESULT iCode) QORJOB_NO_THREAD_SAFETY_ANALYSIS : mCode(iCode)
{
    // Before the job is locked: the context may take a while to answer.
    const int reportingStepId = QORJob::FindReportingStep(ioJob.GetValue(ioJob.mpProcessContext).Get());
    mpLock = std::make_unique<LockHold>(ioJob.mpLock.get());
    if (!ioJob.BecomeErrorJob(iCode, reportingStepId))
        return;
    const HRESULT code = ioJob.FetchContextMessage(mpMessage);
    if (SUCCEEDED(code) && mpMessage)
        mpPacker =
            std::make_unique<QORMessagePacker>(mpMessage.Get(), QORJOB_W("Kernel"), static_cast<unsigned>(iCode));
}

QORJobError::~QORJobError()
{
    if (mpPacker != nullptr)
        Boundary([&] { return mpMessage->set_ErrorCode(mCode); });
    mpPacker.reset(); // writes the error
}

HRESULT QORJobError::GetCreationResult() const { return mpPacker == nullptr ? E_FAIL : S_OK; }

template <class T>
QORJobError& QORJobError::Pack(const T& iArgument)
{
    if (mpPacker != nullptr)
        *mpPacker << iArgument;
    return *this;
}

QORJobError& QORJobError::operator<<(bool ibValue) { return Pack(ibValue); }
QORJobError& QORJobError::operator<<(char iValue) { return Pack(int{static_cast<signed char>(iValue)}); }
QORJobError& QORJobError::operator<<(short iValue) { return Pack(int{iValue}); }
QORJobError& QORJobError::operator<<(unsigned char iValue) { return Pack(int{iValue}); }
QORJobError& QORJobError::operator<<(unsigned short iValue) { return Pack(int{iValue}); }
QORJobError& QORJobError::operator<<(int iValue) { return Pack(iValue); }
QORJobError& QORJobError::operator<<(unsigned iValue) { return Pack(iValue); }
QORJobError& QORJobError::operator<<(long iValue) { return Pack(iValue); }
QORJobError& QORJobError::operator<<(float iValue) { return Pack(double{iValue}); }
QORJobError& QORJobError::operator<<(double iValue) { return Pack(iValue); }
QORJobError& QORJobError::operator<<(const QBase::WCHAR* iText) { return Pack(iText); }
QORJobError& QORJobError::operator<<(QBase::WCHAR* iText) { return Pack(iText == nullptr ? QORJOB_W("") : iText); }
QORJobError& QORJobError::operator<<(const GUID& iGuid) { return Pack(iGuid); }
QORJobError& QORJobError::operator<<(void (*iManipulator)(QResource::MessageFormatter&)) { return Pack(iManipulator); }
