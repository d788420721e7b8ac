#include "Watch.h"

#include "Errors.h"
#include "JobCalls.h"
#include "Kernel.h"
#include "TextTable.h"
#include "record/QORJobBrowsingInfo.h"
#include "record/QORJobInfo.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <utility>

namespace
{

using QDataType::DateTime;

constexpr std::chrono::milliseconds cTimeBetweenLooks{20};
constexpr std::size_t cHeadLines = 2;

// What terminals understand. A line that is too long is cut, not wrapped: a wrapped one would count as two.
constexpr const char* cSaveCursor = "\0337";
constexpr const char* cRestoreCursor = "\0338";
constexpr const char* cNoWrap = "\033[?7l";
constexpr const char* cWrap = "\033[?7h";
constexpr const char* cEraseLine = "\033[K";
constexpr const char* cEraseBelow = "\033[J";

std::string ToLineAbove(std::size_t iLines) { return iLines == 0 ? "\r" : "\r\033[" + std::to_string(iLines) + "A"; }

bool IsSet(DateTime iTime) { return iTime != DateTime(0.0); }

double ToMilliseconds(QDataType::TimeSpan iSpan) { return static_cast<double>(iSpan.GetTicks()) / 10'000; }

std::string StatusText(int iStatus)
{
    switch (iStatus)
    {
    case JobReady:
        return "ready";
    case JobExecuting:
        return "executing";
    case JobWaiting:
        return "waiting";
    case JobCompleted:
        return "completed";
    case JobStoppedWithError:
        return "stopped with error";
    case JobCancelled:
        return "cancelled";
    case JobStopped:
        return "stopped";
    case JobPausing:
        return "pausing";
    case cWaitingForChildren:
        return "waiting for children";
    default:
        return "status " + std::to_string(iStatus);
    }
}

/// In the queues of all units; a job that is queued now waits until now.
double SumWaiting(const QORJobInfo& iInfo, DateTime iNow)
{
    double sum = 0;
    std::for_each_n(iInfo.mPUInfos.begin(), iInfo.mPUCount, [&](const QORJobPUInfo& iVisit) {
        DateTime enter(0.0);
        DateTime start(0.0);
        Expect(iVisit.GetEnterTime(&enter), "GetEnterTime");
        Expect(iVisit.GetStartTime(&start), "GetStartTime");
        sum += ToMilliseconds((IsSet(start) ? start : iNow) - enter);
    });
    return sum;
}

/// A step counts from when a unit has taken it; one that was lost or paused doesn't count once it is off the thread.
double SumRunning(const QORJobInfo& iInfo, DateTime iNow)
{
    double sum = 0;
    const auto add = [&sum](const QORJobStep& iStep, DateTime iUnfinished) {
        int unit = -1;
        DateTime start(0.0);
        DateTime finish(0.0);
        Expect(iStep.GetPUId(&unit), "GetPUId");
        Expect(iStep.GetStartTime(&start), "GetStartTime");
        Expect(iStep.GetFinishTime(&finish), "GetFinishTime");
        if (unit > 0 && IsSet(start))
            sum += ToMilliseconds((IsSet(finish) ? finish : iUnfinished) - start);
    };
    std::for_each_n(iInfo.mFinishedSteps.begin(), iInfo.mFinishedCount, [&](const QORJobStep& iStep) {
        DateTime finish(0.0);
        Expect(iStep.GetFinishTime(&finish), "GetFinishTime");
        if (IsSet(finish))
            add(iStep, finish);
    });
    if (iInfo.mTodoCount > 0)
        add(iInfo.mTodoSteps.front(), iNow);
    return sum;
}

/// The one that runs or will run next; for a job that has none left, the last one that ran.
std::string StepText(const QORJobInfo& iInfo)
{
    if (iInfo.mTodoCount == 0 && iInfo.mFinishedCount == 0)
        return {};
    const QORJobStep& step = iInfo.mTodoCount > 0 ? iInfo.mTodoSteps.front() : iInfo.mFinishedSteps.front();
    int id = StepNoMore;
    Expect(step.GetId(&id), "GetId");
    return StepNameOf(id);
}

/// The one that has the job, or had it last.
std::string UnitText(const QORJobInfo& iInfo)
{
    int unit = -1;
    if (iInfo.mPUCount == 0)
        return {};
    Expect(iInfo.mPUInfos.front().GetId(&unit), "GetId");
    return ToText(static_cast<EnumUnit>(unit));
}

/// How many lines the terminal has room for above the cursor's own.
std::size_t RoomOnTerminal()
{
    constexpr std::size_t cUsual = 24;
    winsize size{};
    const bool bKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > cHeadLines + 2;
    return (bKnown ? size.ws_row : cUsual) - 1;
}

} // namespace

/// Of as many jobs as the terminal has room for.
std::string Watch::MakeTable(const std::vector<Look>& iLooks)
{
    const std::vector<TextColumn> columns = {
        {"job", true},   {"owner", false},     {"status", false},    {"unit", false},
        {"step", false}, {"waiting ms", true}, {"running ms", true}, {"description", false},
    };
    const std::size_t room = RoomOnTerminal() - cHeadLines;
    const std::size_t shown = iLooks.size() <= room ? iLooks.size() : room - 1;
    std::vector<std::vector<std::string>> rows;
    for (std::size_t i = 0; i < shown; ++i)
    {
        const Look& look = iLooks[i];
        rows.push_back({std::to_string(look.mJob), look.mOwner, look.mStatus, look.mUnit, look.mStep,
                        FormatDecimals(look.mWaiting, 1), FormatDecimals(look.mRunning, 1), look.mDescription});
    }
    if (rows.empty())
        return {};
    std::string table = ToTextTable(columns, rows);
    if (shown < iLooks.size())
        table += "... and " + std::to_string(iLooks.size() - shown) + " more\n";
    return table;
}

Watch::Watch(Kernel& iKernel, std::ostream& ioStream, bool ibTerminal)
    : mKernel(iKernel), mStream(ioStream), mbTerminal(ibTerminal)
{
}

Watch::~Watch() { Stop(); }

void Watch::Start()
{
    if (mbTerminal)
        SetErrorTaker([this](const std::string& iText) {
            const std::lock_guard hold(mMutex);
            mErrors.push_back(iText);
        });
    mThread = std::thread([this] { Run(); });
}

void Watch::Stop()
{
    {
        const std::lock_guard hold(mMutex);
        mbStopped = true;
    }
    mChanged.notify_all();
    if (mThread.joinable())
        mThread.join();
    if (mbTerminal)
        SetErrorTaker({});
    for (const std::string& error : std::exchange(mErrors, {}))
        LogError(error);
}

void Watch::AddTypedLine()
{
    const std::lock_guard hold(mMutex);
    ++mTypedLines;
}

/// The last look finds no jobs: nothing is left of the table, and each job's end is told.
void Watch::Run()
{
    try
    {
        bool bLast = false;
        do
        {
            bLast = WaitForNextLook();
            std::vector<Look> looks;
            for (const QBase::PtrI<QORJob>& job : mKernel.GetLiveJobs())
                looks.push_back(LookAt(*job.Get()));
            if (mbTerminal)
                Draw(looks);
            else
                WriteChanges(looks);
            mStream.flush();
        } while (!bLast);
    }
    catch (const std::exception& error)
    {
        LogError(std::string("the jobs are watched no more: ") + error.what());
    }
}

/// True when it will be the last.
bool Watch::WaitForNextLook()
{
    std::unique_lock hold(mMutex);
    return mChanged.wait_for(hold, cTimeBetweenLooks, [this] { return mbStopped; });
}

Watch::Look Watch::LookAt(const QORJob& iJob)
{
    QORJobInfo info;
    QORJobBrowsingInfo browsing;
    Expect(iJob.GetJobInfo(&info), "GetJobInfo");
    Expect(iJob.GetJobBrowsingInfo(&browsing), "GetJobBrowsingInfo");
    const DateTime now = DateTime::NowUTC();
    return {info.mJobId.Get(),        QBase::WideCharToUTF8(browsing.mOwner),
            StatusText(info.mStatus), UnitText(info),
            StepText(info),           SumWaiting(info, now),
            SumRunning(info, now),    QBase::WideCharToUTF8(browsing.mDescription)};
}

/// In place of the last table.
void Watch::Draw(const std::vector<Look>& iLooks)
{
    std::vector<std::string> errors;
    std::size_t typed = 0;
    {
        const std::lock_guard hold(mMutex);
        errors.swap(mErrors);
        typed = std::exchange(mTypedLines, 0);
    }
    const std::string table = MakeTable(iLooks);
    const auto lines = static_cast<std::size_t>(std::count(table.begin(), table.end(), '\n'));
    if (errors.empty() && typed == 0 && lines == mTableLines)
        DrawOver(table);
    else
        DrawAnew(table, typed, errors);
    mTableLines = lines;
}

/// A line that is being typed below the table stays.
void Watch::DrawOver(const std::string& iTable)
{
    if (mTableLines == 0)
        return;
    std::string text;
    for (const char c : iTable)
        text += c == '\n' ? cEraseLine + std::string(1, c) : std::string(1, c);
    mStream << cSaveCursor << ToLineAbove(mTableLines) << cNoWrap << text << cWrap << cRestoreCursor;
}

/// The errors come to stand above the table.
void Watch::DrawAnew(const std::string& iTable, std::size_t iTypedLines, const std::vector<std::string>& iErrors)
{
    mStream << ToLineAbove(mTableLines + iTypedLines) << cEraseBelow << std::flush;
    for (const std::string& error : iErrors)
        std::fprintf(stderr, "report_server: %s\n", error.c_str());
    mStream << cNoWrap << iTable << cWrap;
}

/// The times change with every look: they don't count as a change.
void Watch::WriteChanges(const std::vector<Look>& iLooks)
{
    std::map<int, std::string> shown;
    for (const Look& look : iLooks)
    {
        std::string text = look.mStatus + ", " + look.mStep + " in " + look.mUnit;
        if (mShown[look.mJob] != text)
            mStream << "job " << look.mJob << ": " << text << ", " << FormatDecimals(look.mWaiting, 1)
                    << " ms waiting, " << FormatDecimals(look.mRunning, 1) << " ms running\n";
        mShown.erase(look.mJob);
        shown[look.mJob] = std::move(text);
    }
    for (const auto& [job, text] : mShown)
        mStream << "job " << job << ": ended\n";
    mShown = std::move(shown);
}
