#include "record/QORJobPUInfo.h"

#include "platform/QBase.h"
#include "record/RecordFields.h"

QORJobPUInfo::QORJobPUInfo(int iPUId) : mPUId(iPUId) {}

HRESULT QORJobPUInfo::SetEnterTime()
{
    mThreadId = QBase::GetCurrentThreadID();
    return SetEnterTime(QDataType::DateTime::NowUTC());
}

HRESULT QORJobPUInfo::SetEnterTime(QDataType::DateTime iTime) { return SetField(mEnterTime, iTime); }

HRESULT QORJobPUInfo::SetStartTime() { return SetStartTime(QDataType::DateTime::NowUTC()); }

HRESULT QORJobPUInfo::SetStartTime(QDataType::DateTime iTime) { return SetField(mStartTime, iTime); }

HRESULT QORJobPUInfo::SetExitTime() { return SetExitTime(QDataType::DateTime::NowUTC()); }

HRESULT QORJobPUInfo::SetExitTime(QDataType::DateTime iTime) { return SetField(mExitTime, iTime); }

HRESULT QORJobPUInfo::GetEnterTime(QDataType::DateTime* oTime) const { return GetField(mEnterTime, oTime); }

HRESULT QORJobPUInfo::GetStartTime(QDataType::DateTime* oTime) const { return GetField(mStartTime, oTime); }

HRESULT QORJobPUInfo::GetExitTime(QDataType::DateTime* oTime) const { return GetField(mExitTime, oTime); }

HRESULT QORJobPUInfo::GetId(int* oPUId) const { return GetField(mPUId, oPUId); }

DWORD QORJobPUInfo::GetSaveObjSize(unsigned* oSize) const
{
    if (oSize == nullptr)
        return static_cast<DWORD>(E_POINTER);
    *oSize = 3 * QDataType::DateTime::GetSaveObjSize() + sizeof(DWORD);
    return S_OK;
}

DWORD QORJobPUInfo::SaveObj(unsigned, unsigned iBufferSize, signed char* oBuffer, unsigned* oSize) const
{
    const DWORD code = GetSaveObjSize(oSize);
    if (code != S_OK)
        return code;
    if (*oSize > iBufferSize)
        return S_FALSE;
    if (oBuffer == nullptr)
        return static_cast<DWORD>(E_POINTER);
    RecordWriter record(oBuffer);
    record.Put(mEnterTime);
    record.Put(mExitTime); // before the start time: readers of old records expect it so
    record.Put(mStartTime);
    record.Put(mPUId);
    return S_OK;
}

DWORD QORJobPUInfo::LoadObj(unsigned, const signed char* iBuffer)
{
    RecordReader record(iBuffer);
    record.Get(mEnterTime);
    record.Get(mExitTime);
    record.Get(mStartTime);
    record.Get(mPUId);
    return S_OK;
}
