#include "record/QORJobPUInfo.h"

#include "platform/QBase.h"
#include "record/RecordFields.h"

/// The exit time comes before the start time: readers of saved records rely on it.
struct QORJobPUInfo::Record
{
    static constexpr std::tuple cFields{&QORJobPUInfo::mEnterTime, &QORJobPUInfo::mExitTime, &QORJobPUInfo::mStartTime,
                                        &QORJobPUInfo::mPUId};
};

HRESULT QORJobPUInfo::SetEnterTime()
{
    mThreadId = QBase::GetCurrentThreadID();
    return SetEnterTime(QDataType::DateTime::NowUTC());
}

HRESULT QORJobPUInfo::SetStartTime() { return SetStartTime(QDataType::DateTime::NowUTC()); }

HRESULT QORJobPUInfo::SetExitTime() { return SetExitTime(QDataType::DateTime::NowUTC()); }

DWORD QORJobPUInfo::GetSaveObjSize(unsigned* oSize) const { return GetRecordSize(Record::cFields, oSize); }

DWORD QORJobPUInfo::SaveObj(unsigned, unsigned iBufferSize, signed char* oBuffer, unsigned* oSize) const
{
    return SaveRecord(*this, Record::cFields, iBufferSize, oBuffer, oSize);
}

DWORD QORJobPUInfo::LoadObj(unsigned, const signed char* iBuffer)
{
    LoadRecord(*this, Record::cFields, iBuffer);
    return S_OK;
}
