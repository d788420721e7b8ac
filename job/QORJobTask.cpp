#include "job/QORJobTask.h"

#include "base/Categories.h"
#include "base/ExceptionBoundary.h"
#include "base/KernelLog.h"
#include "context/Collaborators.h"
#include "context/ICKDXProcessContext.h"
#include "data/QORBinaryData.h"
#include "data/QORNamedIdsList.h"
#include "job/QORJob.h"
#include "job/QORJobError.h"
#include "platform/Mutex.h"
#include "platform/QFormat.h"
#include "platform/QPerfMon.h"
#include "platform/QResource.h"

#include <new>

namespace
{

constexpr int cNoJobId = -1;
constexpr HRESULT cTaskAborted = static_cast<HRESULT>(0x8004FE0F);
constexpr int cAbortReport = 4;

/// Serialises making the registry, which clears the profile indices. Static objects of other modules may add names.
QSynch::Mutex<QSynch::LockLevelShared>& GetRegistryMutex()
{
    static QSynch::Mutex<QSynch::LockLevelShared> mutex;
    return mutex;
}

/// The log names the operations of tasks with their class.
template <class Body>
HRESULT TaskBoundary(const char* iOperation, int iJobId, Body&& iBody) noexcept
{
    return Boundary(iJobId, iBody, iOperation);
}

} // namespace

constinit std::atomic<QORNamedIdsList*> QORJobTask::mJobTaskNames{nullptr};
constinit std::atomic<int> QORJobTask::mProfileIndex[cTaskIdCount] = {};

QORJobTask::QORJobTask(QORJob* iJob) : mpJob(iJob)
{
    if (QORObjectInstanceCount* count = QORObjectInstanceCount::GetObjectInstanceCount())
        count->IncreaseObjectInstanceCount(InstanceCategoryTask);
}

QORJobTask::~QORJobTask()
{
    ReleaseContextData();
    mpJob = {};
    if (QORObjectInstanceCount* count = QORObjectInstanceCount::GetObjectInstanceCount())
        count->DecreaseObjectInstanceCount(InstanceCategoryTask);
}

HRESULT QORJobTask::Run() { return S_OK; }

HRESULT QORJobTask::Clone(QORTask** oTask)
{
    if (oTask == nullptr)
        return E_POINTER;
    *oTask = new (std::nothrow) QORJobTask(mpJob.Get());
    return S_OK;
}

void QORJobTask::CancelLog()
{
    LogLine(EnumKernelRouter::Error, "QORJobTask %1 of Job %2 is cancelled", static_cast<const void*>(this),
            GetJobId());
    QORTask::CancelLog();
}

HRESULT QORJobTask::Cancel(QORJob*) { return E_NOTIMPL; }

DWORD QORJobTask::Init(DataObjectFactory iFactory)
{
    mpFactory = iFactory;
    return 0;
}

unsigned QORJobTask::Init(ConfigManager* iManager, DataObjectFactory iFactory)
{
    mpConfigManager = iManager;
    mpFactory = iFactory;
    return 0;
}

HRESULT QORJobTask::SetJob(QORJob* iJob)
{
    mpJob = QBase::PtrI<QORJob>(iJob); // the new reference first: it may be the same job
    return S_OK;
}

int QORJobTask::GetJobId() const { return mpJob ? mpJob->GetId().Get() : cNoJobId; }

int QORJobTask::GetJobId(const int*) const { return GetJobId(); }

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

HRESULT QORJobTask::SetConfigManager(ConfigManager* iManager)
{
    mpConfigManager = iManager;
    return S_OK;
}

HRESULT QORJobTask::CreateJobDataObject(int iId, QORJobData** oData)
{
    return TaskBoundary("QORJobTask::CreateJobDataObject", GetJobId(),
                        [&] { return mpFactory(mpJob.Get(), iId, oData); });
}

HRESULT QORJobTask::GetDataIdByName(const QBase::WCHAR*, int*) const { return S_OK; }

HRESULT QORJobTask::GetContextDataX(int iId, QORJobData** oData)
{
    if (oData == nullptr)
        return E_POINTER;
    *oData = nullptr;
    if (!mpJob)
        return E_HANDLE;
    return TaskBoundary("QORJobTask::GetContextDataX", GetJobId(), [&] {
        // The entry is made first: without memory for it no reference is lost.
        QORJobData*& item = mContextData.emplace_back(nullptr);
        const HRESULT code = mpJob->GetJobData(iId, &item);
        *oData = item;
        if (code != S_OK)
            mContextData.pop_back();
        return code;
    });
}

HRESULT QORJobTask::GetContextData(int iId, void** oData)
{
    if (oData == nullptr)
        return E_POINTER;
    QORJobData* item = nullptr;
    const HRESULT code = GetContextDataX(iId, &item);
    *oData = item;
    return code;
}

HRESULT QORJobTask::SetOutput(QORJobData* iData) { return mpJob ? mpJob->SetJobData(iData) : E_HANDLE; }

HRESULT QORJobTask::SetOutput(int iId, void* iData, unsigned iLength)
{
    if (!mpJob)
        return E_HANDLE;
    const QBase::PtrI<QORJobData> item(new QORBinaryData(iId, iData, iLength));
    if (item)
        return mpJob->SetJobData(item.Get());
    QBase::HeapFree(iData);
    return E_OUTOFMEMORY;
}

QSynch::SmartPtr<QORJobError, QBase::DeleteC<QORJobError>> QORJobTask::GetJobErrorBuilder(HRESULT iCode)
{
    return mpJob->GetJobErrorBuilder(iCode);
}

HRESULT QORJobTask::SetComplete()
{
    const HRESULT code = ReleaseContextData();
    mStatus.exchange(JobTaskStatusComplete);
    return code;
}

HRESULT QORJobTask::SetAbort()
{
    TaskBoundary("QORJobTask::SetAbort", GetJobId(), [&] {
        ReportAbort();
        return S_OK;
    });
    const HRESULT code = ReleaseContextData();
    mStatus.exchange(JobTaskStatusAborted);
    return code;
}

HRESULT QORJobTask::ReleaseContextData()
{
    while (!mContextData.empty())
    {
        QORJobData* item = mContextData.front();
        mContextData.pop_front();
        // An item's payload may be another module's and throw: the other items are released all the same.
        TaskBoundary("QORJobTask::ReleaseContextData", GetJobId(), [&] {
            if (item != nullptr)
                item->ReleaseRef();
            return S_OK;
        });
    }
    return S_OK;
}

/// Tells the error reporter of the job's process context that the task was aborted, when there is one.
void QORJobTask::ReportAbort() const
{
    ICKDXProcessContext* foundContext = nullptr;
    if (!mpJob || FAILED(mpJob->GetProcessContext(&foundContext)) || foundContext == nullptr)
        return;
    const auto context = QBase::PtrI<ICKDXProcessContext>::Adopt(foundContext);
    QBase::Counted* foundHandle = nullptr;
    if (FAILED(context->get_HandleB(&foundHandle)))
        return;
    const auto handle = QBase::PtrI<QBase::Counted>::Adopt(foundHandle);
    auto* const reporter = dynamic_cast<QORErrorReporter*>(handle.Get());
    if (reporter == nullptr)
        return;
    unsigned locale = QFormat::GetUserDefaultLCID();
    reporter->SetReportKind(cAbortReport);
    // Without an answer of the session the text is in the default language.
    TaskBoundary("QORJobTask::SetAbort", GetJobId(), [&] {
        locale = SessionLocaleOf(*context.Get());
        return S_OK;
    });
    const std::string text = GetErrMessage(static_cast<unsigned>(cTaskAborted), static_cast<int>(locale));
    reporter->ReportError(cTaskAborted, QBase::UTF8ToWideChar(text).c_str());
}

/// The text of a code in the tasks' own bundle; empty when it has none.
std::string QORJobTask::GetErrMessage(unsigned iCode, int iLocale)
{
    const QResource::MessageFormatter formatter;
    const auto bundle = QResource::GetFileBundle("Server");
    if (!bundle)
        return {};
    const QBase::wstring text = bundle->FindMessage(iCode, static_cast<unsigned>(iLocale), QORJOB_W(""));
    return formatter.Format(QBase::WideCharToUTF8(text));
}

/// E_OUTOFMEMORY without memory; the profile indices are cleared then, too.
HRESULT QORJobTask::MakeRegistry(bool ibClearProfiles)
{
    const QSynch::MutexHold hold(GetRegistryMutex());
    if (mJobTaskNames.load(std::memory_order_relaxed) != nullptr)
        return S_OK;
    if (ibClearProfiles)
        for (std::atomic<int>& index : mProfileIndex)
            index.store(-1, std::memory_order_relaxed);
    try
    {
        mJobTaskNames.store(new QORNamedIdsList, std::memory_order_release);
        return S_OK;
    }
    catch (const std::bad_alloc&)
    {
        return E_OUTOFMEMORY;
    }
}

HRESULT QORJobTask::InitJobTaskNameIds() { return MakeRegistry(false); }

HRESULT QORJobTask::UnInitJobTaskNameIds()
{
    delete mJobTaskNames.exchange(nullptr);
    return S_OK;
}

HRESULT QORJobTask::AddName(const QBase::WCHAR* iName, int iId)
{
    return TaskBoundary("QORJobTask::AddName", cNoJobId, [&] {
        const HRESULT code = MakeRegistry(true);
        if (code != S_OK)
            return code;
        if (iName != nullptr && static_cast<unsigned>(iId) < cTaskIdCount)
        {
            const unsigned index = QPerfMon::GetProfileIndex(QBase::WideCharToUTF8(iName).c_str());
            mProfileIndex[iId].store(static_cast<int>(index), std::memory_order_relaxed);
        }
        return mJobTaskNames.load(std::memory_order_acquire)->AddNameCopy(iName, iId);
    });
}

HRESULT QORJobTask::GetId(const QBase::WCHAR* iName, int* oId)
{
    if (oId == nullptr)
        return E_POINTER;
    const QORNamedIdsList* names = mJobTaskNames.load(std::memory_order_acquire);
    return names == nullptr ? E_HANDLE : names->NameToId(iName, oId);
}

HRESULT QORJobTask::GetName(int iId, const QBase::WCHAR** oName)
{
    if (oName == nullptr)
        return E_POINTER;
    const QORNamedIdsList* names = mJobTaskNames.load(std::memory_order_acquire);
    return names == nullptr ? E_HANDLE : names->IdToName(iId, oName);
}

HRESULT QORJobTask::GetName(int iId, QBase::wstring& oName)
{
    const QORNamedIdsList* names = mJobTaskNames.load(std::memory_order_acquire);
    return names == nullptr ? E_HANDLE : names->IdToName(iId, oName);
}

HRESULT QORJobTask::GetProfileIndex(int iTaskId, int* oIndex)
{
    if (oIndex == nullptr)
        return E_POINTER;
    *oIndex = -1;
    if (static_cast<unsigned>(iTaskId) >= cTaskIdCount)
        return E_POINTER;
    *oIndex = mProfileIndex[iTaskId].load(std::memory_order_relaxed);
    return S_OK;
}
