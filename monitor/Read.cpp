#include "monitor/Read.h"

#include "monitor/QORMonitor.h"
#include "monitor/QORMonitorViews.h"

#include <algorithm>
#include <utility>

namespace QORMONITOR
{

namespace
{

// What a job can't tell is left as it was: these operations fail for want of memory only, and the rest is worth having.

template <class Value, class Object, class Owner>
Value Get(const Object& iObject, HRESULT (Owner::*iGetter)(Value*) const, Value iNone)
{
    (iObject.*iGetter)(&iNone);
    return iNone;
}

/// A little more than any view shows, so that a view sees that it cuts it.
std::string ToShownText(const QBase::wstring& iText)
{
    return QBase::WideCharToUTF8(std::basic_string_view<QBase::WCHAR>(iText).substr(0, cLongestText + 1));
}

std::string GetText(const QORJob& iJob, HRESULT (QORJob::*iGetter)(QBase::wstring&) const)
{
    QBase::wstring text;
    (iJob.*iGetter)(text);
    return ToShownText(text);
}

QORMonitorTime GetTime(const auto& iRecord, auto iGetter)
{
    return QORMonitor::ToTime(Get(iRecord, iGetter, QDataType::DateTime()));
}

QORMonitorStep ToStep(const QORJobStep& iStep)
{
    QORMonitorStep step;
    step.mId = Get(iStep, &QORJobStep::GetId, step.mId);
    step.mUnit = Get(iStep, &QORJobStep::GetPUId, step.mUnit);
    step.mThread = Get(iStep, &QORJobStep::GetThreadId, step.mThread);
    step.mStart = GetTime(iStep, &QORJobStep::GetStartTime);
    step.mFinish = GetTime(iStep, &QORJobStep::GetFinishTime);
    return step;
}

/// Oldest first. Of several visits to a unit the job stamps the end of the oldest one each time, so that a visit's end
/// is taken for no later than the next one's beginning.
std::vector<QORMonitorVisit> ReadVisits(const QORJobInfo& iInfo)
{
    std::vector<QORMonitorVisit> visits;
    QORMonitorTime next = 0;
    for (int i = 0; i < iInfo.mPUCount; ++i) // newest first
    {
        const QORJobPUInfo& info = iInfo.mPUInfos[static_cast<std::size_t>(i)];
        QORMonitorVisit visit{Get(info, &QORJobPUInfo::GetId, -1), GetTime(info, &QORJobPUInfo::GetEnterTime),
                              GetTime(info, &QORJobPUInfo::GetStartTime), GetTime(info, &QORJobPUInfo::GetExitTime)};
        if (next != 0 && (visit.mExit == 0 || visit.mExit > next))
            visit.mExit = next;
        next = visit.mEnter;
        visits.push_back(visit);
    }
    std::reverse(visits.begin(), visits.end());
    return visits;
}

/// One line for each entry of the message, whatever its text holds.
std::string ReadEntries(ICKDXWriteMessage& iMessage, unsigned iLanguage)
{
    std::string lines;
    QBase::PtrI<ICKDXReadBlockStream> stream;
    if (FAILED(iMessage.get_BlockStream(stream.Receive())))
        return lines;
    std::unique_ptr<QORMessageUnpacker> entry;
    while (SUCCEEDED(QORMessageUnpacker::Create(stream.Get(), iLanguage, entry)))
    {
        std::string line = entry->IsMessageEmpty() ? std::string() : entry->Build();
        std::replace(line.begin(), line.end(), '\n', ' ');
        line.resize(std::min(line.size(), cLongestText + 1));
        lines.append(lines.empty() || line.empty() ? "" : "\n").append(line);
        if (entry->IsLastMessageInStream())
            break;
    }
    return lines;
}

/// By language. Jobs without an error have an answer at most, which isn't ours to show.
std::map<unsigned, std::string> ReadErrors(const QORJob& iJob, const std::vector<unsigned>& iLanguages)
{
    std::map<unsigned, std::string> errors;
    QBase::PtrI<ICKDXWriteMessage> message;
    if (FAILED(iJob.GetErrMessage(message.Receive())) || !message)
        return errors;
    for (const unsigned language : iLanguages)
        if (std::string lines = ReadEntries(*message.Get(), language); !lines.empty())
            errors[language] = std::move(lines);
    return errors;
}

} // namespace

double ToSeconds(QORMonitorTime iFrom, QORMonitorTime iTo)
{
    constexpr double cMicroseconds = 1e6;
    return iFrom == 0 || iTo < iFrom ? 0 : static_cast<double>(iTo - iFrom) / cMicroseconds;
}

int GetId(const QORJob& iJob)
{
    QSynch::AtomicLong id = -1;
    iJob.GetId(&id);
    return id.Get();
}

std::shared_ptr<const QORMonitorIdentity> ReadIdentity(const QORJob& iJob)
{
    auto identity = std::make_shared<QORMonitorIdentity>();
    identity->mId = GetId(iJob);
    QSynch::AtomicLong parent = -1;
    iJob.GetParentId(&parent);
    identity->mParentId = parent.Get();
    iJob.GetRequestType(&identity->mType);
    identity->mCreated = GetTime(iJob, &QORJob::GetJobCreationTime);
    identity->mUser = GetText(iJob, &QORJob::GetUser);
    identity->mLogin = GetText(iJob, &QORJob::GetUserLogin);
    identity->mProject = GetText(iJob, &QORJob::GetProjectName);
    identity->mDescription = GetText(iJob, &QORJob::GetDescription);
    return identity;
}

QORMonitorDetail ReadDetail(const QORJob& iJob, QORMonitorRow iRow, const std::vector<unsigned>& iLanguages,
                            bool ibDump)
{
    QORMonitorDetail detail;
    QORMonitorRow& row = detail.mRow = std::move(iRow);
    if (row.mpIdentity == nullptr)
        row.mpIdentity = ReadIdentity(iJob);
    QORJobInfo info;
    iJob.GetJobInfo(&info);
    row.mStatus = info.mStatus;
    row.mPriority = info.mPUPriority;
    for (int i = 0; i < info.mTodoCount; ++i)
        detail.mTodo.push_back(ToStep(info.mTodoSteps[static_cast<std::size_t>(i)]));
    for (int i = info.mFinishedCount; i > 0; --i)
        detail.mFinished.push_back(ToStep(info.mFinishedSteps[static_cast<std::size_t>(i) - 1]));
    detail.mVisits = ReadVisits(info);
    if (!detail.mVisits.empty() && detail.mVisits.back().mExit == 0)
        detail.mVisits.back().mExit = row.mEnded; // the job has stamped an older visit
    for (int i = 0; i < info.mDataCount; ++i)
    {
        const QORJobInfoData& item = info.mData[static_cast<std::size_t>(i)];
        detail.mItems.push_back({info.mDataSlots[static_cast<std::size_t>(i)], Get(item, &QORJobInfoData::GetId, 0),
                                 Get(item, &QORJobInfoData::GetSize, 0U)});
    }
    if (row.mEnded != 0)
    {
        for (const QORMonitorVisit& visit : detail.mVisits)
            row.mWaiting += ToSeconds(visit.mEnter, visit.mStart);
        for (const QORMonitorStep& step : detail.mFinished)
            row.mRunning += ToSeconds(step.mStart, step.mFinish);
    }
    row.mReason.resize(std::min(row.mReason.size(), cLongestText + 1));
    row.mErrorCode = Get(iJob, &QORJob::GetErrCode, row.mErrorCode);
    if (QORJOB::HasFailed(row.mStatus))
        detail.mErrors = ReadErrors(iJob, iLanguages);
    if (ibDump)
    {
        QBase::wstring dump;
        iJob.GetJobInfo(dump);
        detail.mDump = QBase::WideCharToUTF8(dump);
    }
    return detail;
}

void ReadPlace(const QORJob& iJob, QORMonitorRow& ioRow)
{
    QORJobInfo info;
    iJob.GetJobInfo(&info);
    ioRow.mStatus = info.mStatus;
    ioRow.mPriority = info.mPUPriority;
    ioRow.mSince = QORMonitor::ToTime(info.mStatusTime);
    if (info.mPUCount > 0)
        ioRow.mUnit = Get(info.mPUInfos.front(), &QORJobPUInfo::GetId, ioRow.mUnit);
    ioRow.mStep =
        Get((info.mTodoCount > 0 ? info.mTodoSteps : info.mFinishedSteps).front(), &QORJobStep::GetId, ioRow.mStep);
}

const QORMonitorStep* FindFirstStep(const QORMonitorDetail& iJob, std::size_t iVisit)
{
    const QORMonitorVisit& visit = iJob.mVisits[iVisit];
    const QORMonitorTime end = iVisit + 1 < iJob.mVisits.size() ? iJob.mVisits[iVisit + 1].mEnter : 0;
    const auto isOfVisit = [&](const QORMonitorStep& iStep) {
        return iStep.mUnit == visit.mUnit && iStep.mStart >= visit.mStart && iStep.mStart != 0 &&
               (end == 0 || iStep.mStart <= end);
    };
    const auto step = std::find_if(iJob.mFinished.begin(), iJob.mFinished.end(), isOfVisit);
    if (step != iJob.mFinished.end())
        return &*step;
    return !iJob.mTodo.empty() && isOfVisit(iJob.mTodo.front()) ? &iJob.mTodo.front() : nullptr;
}

std::size_t SizeOf(const QORMonitorDetail& iJob)
{
    const QORMonitorIdentity& identity = *iJob.mRow.mpIdentity;
    std::size_t size = sizeof(iJob) + sizeof(identity) + identity.mUser.capacity() + identity.mLogin.capacity() +
                       identity.mProject.capacity() + identity.mDescription.capacity() + iJob.mRow.mReason.capacity() +
                       iJob.mDump.capacity() + iJob.mVisits.capacity() * sizeof(QORMonitorVisit) +
                       iJob.mItems.capacity() * sizeof(QORMonitorItem) +
                       (iJob.mTodo.capacity() + iJob.mFinished.capacity()) * sizeof(QORMonitorStep);
    for (const auto& [language, text] : iJob.mErrors)
        size += sizeof(std::pair<const unsigned, std::string>) + text.capacity();
    return size;
}

} // namespace QORMONITOR
