#include "Watch.h"

#include "Log.h"
#include "Text.h"
#include "tasks/Steps.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <sstream>
#include <utility>

namespace
{

// What terminals understand. A line that is too long is cut, not wrapped.
constexpr const char* cClear = "\033[2J";
constexpr const char* cToTop = "\0337\033[H\033[?7l";
constexpr const char* cBack = "\033[?7h\0338";
constexpr const char* cEndLine = "\033[K\r\n";

std::size_t GetTerminalLines()
{
    constexpr std::size_t cUsual = 24;
    constexpr std::size_t cLeast = 5;
    winsize size{};
    const bool bKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row >= cLeast;
    return bKnown ? size.ws_row : cUsual;
}

} // namespace

Watch::Watch(Server& ioServer, std::ostream& ioStream, bool ibTerminal)
    : mServer(ioServer), mStream(ioStream), mbTerminal(ibTerminal)
{
    if (mbTerminal)
    {
        SetLogTaker([this](const std::string& iText) {
            const std::lock_guard hold(mMutex);
            mErrors.push_back(iText);
        });
        mStream << cClear << "\033[" << GetTerminalLines() << ";1H"; // what is typed stands in the last line
    }
    mThread = std::thread([this] { Run(); });
}

Watch::~Watch()
{
    {
        const std::lock_guard hold(mMutex);
        mbStopped = true;
    }
    mChanged.notify_all();
    mThread.join();
    if (!mbTerminal)
        return;
    SetLogTaker({});
    mStream << cClear << "\033[H" << std::flush;
    for (const std::string& error : mErrors)
        LogError(error);
}

/// The last look finds no jobs: each job's end is told.
void Watch::Run()
{
    constexpr std::chrono::milliseconds cTimeBetweenLooks{20};
    try
    {
        bool bLast = false;
        while (!bLast)
        {
            {
                std::unique_lock hold(mMutex);
                bLast = mChanged.wait_for(hold, cTimeBetweenLooks, [this] { return mbStopped; });
            }
            const std::vector<Look> looks = LookAtAll();
            if (mbTerminal)
                Draw(looks);
            else
                WriteChanges(looks);
            mStream.flush();
        }
    }
    catch (const std::exception& error)
    {
        LogError(std::string("the jobs are watched no more: ") + error.what());
    }
}

std::vector<Watch::Look> Watch::LookAtAll()
{
    std::vector<Look> looks;
    for (const QORHostJob& handle : mServer.GetJobs())
    {
        const std::shared_ptr<ServerJob> job = mServer.Find(handle.GetId());
        QORJobInfo info;
        if (job == nullptr || handle.GetSnapshot(info) != S_OK)
            continue; // it has ended meanwhile
        const Journey journey = ReadJourney(info);
        const std::string unit = journey.mVisits.empty() ? "" : UnitNameOf(journey.mVisits.back().mUnit);
        const std::string step = StepNameOf(journey.mStep);
        const std::string status = StatusText(info.mStatus);
        looks.push_back(
            {job->mId,
             std::string(status).append(", ").append(step).append(" in ").append(unit),
             {std::to_string(job->mId), job->mRequest.mUser, status, unit, step,
              FormatDecimals(journey.GetWaiting(), 1), FormatDecimals(journey.GetRunning(), 1), job->mRequest.mBody}});
    }
    return looks;
}

/// Of as many jobs as the terminal has room for, and then the newest errors. The lowest line isn't touched.
void Watch::Draw(const std::vector<Look>& iLooks)
{
    const std::vector<TextColumn> columns = {
        {"job", true},        {"owner"},      {"status"}, {"unit"}, {"step"}, {"waiting ms", true},
        {"running ms", true}, {"description"}};
    std::vector<std::vector<std::string>> rows(iLooks.size());
    std::transform(iLooks.begin(), iLooks.end(), rows.begin(), std::mem_fn(&Look::mCells));
    std::istringstream table(ToTextTable(columns, rows));
    std::vector<std::string> lines;
    for (std::string line; std::getline(table, line);)
        lines.push_back(line);

    const std::size_t room = GetTerminalLines() - 1;
    {
        const std::lock_guard hold(mMutex);
        const std::size_t errors = std::min(mErrors.size(), room / 2);
        if (lines.size() + errors > room)
        {
            lines.resize(room - errors - 1);
            lines.push_back("... and " + std::to_string(iLooks.size() + 3 - room + errors) + " more");
        }
        lines.insert(lines.end(), mErrors.end() - static_cast<std::ptrdiff_t>(errors), mErrors.end());
    }
    lines.resize(room);
    mStream << cToTop;
    for (const std::string& line : lines)
        mStream << line << cEndLine;
    mStream << cBack;
}

/// The times change with every look: they don't count as a change.
void Watch::WriteChanges(const std::vector<Look>& iLooks)
{
    std::map<int, std::string> shown;
    for (const Look& look : iLooks)
    {
        if (mShown[look.mJob] != look.mNews)
            mStream << "job " << look.mJob << ": " << look.mNews << ", " << look.mCells[5] << " ms waiting, "
                    << look.mCells[6] << " ms running\n";
        mShown.erase(look.mJob);
        shown[look.mJob] = look.mNews;
    }
    for (const auto& [job, text] : mShown)
        mStream << "job " << job << ": ended\n";
    mShown = std::move(shown);
}
