#include "task/QORJobTask.h"

#include "job/QORJob.h"

int QORJobTask::mProfileIndex[cTaskIdCount] = {};

QORJobTask::QORJobTask(QORJob* iJob) : mpJob(iJob)
{
    if (mpJob != nullptr)
        mpJob->AddRef();
}

QORJobTask::~QORJobTask()
{
    if (mpJob != nullptr)
        mpJob->Release();
}

HRESULT QORJobTask::Run() { return S_OK; }

HRESULT QORJobTask::GetStatus(JobTaskStatus* oStatus) const
{
    if (oStatus == nullptr)
        return E_POINTER;
    *oStatus = mStatus.load();
    return S_OK;
}

HRESULT QORJobTask::SetStatus(JobTaskStatus iStatus, JobTaskStatus* oOld)
{
    const JobTaskStatus old = mStatus.exchange(iStatus);
    if (oOld != nullptr)
        *oOld = old;
    return S_OK;
}

HRESULT QORJobTask::GetProfileIndex(int iTaskId, int* oIndex)
{
    if (oIndex == nullptr)
        return E_POINTER;
    *oIndex = -1;
    if (static_cast<unsigned>(iTaskId) >= cTaskIdCount)
        return E_POINTER;
    *oIndex = mProfileIndex[iTaskId];
    return S_OK;
}
