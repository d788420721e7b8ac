#include "record/QORJobBrowsingInfo.h"

#include "record/FieldAccess.h"

HRESULT QORJobBrowsingInfo::get_ID(QSynch::AtomicLong* oId) const { return GetField(mJobId, oId); }

HRESULT QORJobBrowsingInfo::get_Priority(int* oPriority) const { return GetField(mPriority, oPriority); }

HRESULT QORJobBrowsingInfo::get_Status(int* oStatus) const { return GetField(mStatus, oStatus); }
