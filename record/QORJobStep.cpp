#include "record/QORJobStep.h"

#include "platform/ThreadTimes.h"
#include "record/RecordFields.h"

#include <algorithm>

struct QORJobStep::Record
{
    static constexpr std::tuple cFields{&QORJobStep::mStartTime, &QORJobStep::mFinishTime, &QORJobStep::mStepId,
                                        &QORJobStep::mPUId,      &QORJobStep::mThreadId,   &QORJobStep::mChapterKey};
};

QORJobStep* QORJobStep::NewStep(int iStepId, QBase::Buffer* iBuffer)
{
    if (iBuffer == nullptr)
        return new QORJobStep(iStepId);
    void* const place = iBuffer->TryAllocate(sizeof(QORJobStep), alignof(QORJobStep));
    if (place == nullptr)
        return nullptr;
    auto* const step = new (place) QORJobStep(iStepId);
    step->mbInBuffer = true;
    return step;
}

QORJobStep::QORJobStep(const QORJobStep& iOther) : QORJobStep(iOther.mStepId)
{
    *this = iOther;
    mTaskCPUTime = 0;
}

QORJobStep& QORJobStep::operator=(const QORJobStep& iOther)
{
    if (this == &iOther)
        return *this;
    mStartTime = iOther.mStartTime;
    mFinishTime = iOther.mFinishTime;
    mTaskCPUTime = iOther.mTaskCPUTime;
    mPUPriority = iOther.mPUPriority;
    mPUId = iOther.mPUId;
    mThreadId = iOther.mThreadId;
    mStepId = iOther.mStepId;
    SetChapterKey(iOther.mChapterKey);
    return *this;
}

HRESULT QORJobStep::SetTaskCPUTime(FILETIME iKernelAtStart, FILETIME iUserAtStart)
{
    FILETIME kernel;
    FILETIME user;
    if (GetCurrentThreadTimes(&kernel, &user) == 0)
        return E_FAIL;
    // The low halves only: the time wraps after 2^32 units (some 429 seconds), and readers rely on it.
    mTaskCPUTime =
        user.dwLowDateTime - iUserAtStart.dwLowDateTime - iKernelAtStart.dwLowDateTime + kernel.dwLowDateTime;
    return S_OK;
}

HRESULT QORJobStep::GetTaskCPUTime(double* oTime) const
{
    *oTime = static_cast<double>(mTaskCPUTime);
    return S_OK;
}

void QORJobStep::InitChapterKey() { std::fill_n(mChapterKey, cChapterKeyUnits, QBase::WCHAR{0}); }

void QORJobStep::SetChapterKey(const QBase::WCHAR* iKey)
{
    int length = 0;
    if (iKey != nullptr)
        for (; length < cChapterKeyUnits - 1 && iKey[length] != 0; ++length)
            mChapterKey[length] = iKey[length];
    mChapterKey[length] = 0; // units behind the zero stay: the record has all of them
}

HRESULT QORJobStep::Clone(QORJobStep** oStep) const
{
    if (oStep == nullptr)
        return E_POINTER;
    *oStep = new QORJobStep(mStepId);
    return S_OK;
}

DWORD QORJobStep::GetSaveObjSize(unsigned* oSize) const { return GetRecordSize(Record::cFields, oSize); }

DWORD QORJobStep::SaveObj(unsigned, unsigned iBufferSize, signed char* oBuffer, unsigned* oSize) const
{
    return SaveRecord(*this, Record::cFields, iBufferSize, oBuffer, oSize);
}

DWORD QORJobStep::LoadObj(unsigned, const signed char* iBuffer)
{
    LoadRecord(*this, Record::cFields, iBuffer);
    mChapterKey[cChapterKeyUnits - 1] = 0; // a damaged record may have no terminating zero
    return S_OK;
}
