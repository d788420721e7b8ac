#include "record/QORJobBrowsingInfo.h"

#include "record/FieldAccess.h"

HRESULT QORJobBrowsingInfo::get_ID(QSynch::AtomicLong* oId) const { return QORJOB::GetField(mJobId, oId); }

HRESULT QORJobBrowsingInfo::get_Priority(int* oPriority) const { return QORJOB::GetField(mPriority, oPriority); }

HRESULT QORJobBrowsingInfo::get_Status(int* oStatus) const { return QORJOB::GetField(mStatus, oStatus); }
