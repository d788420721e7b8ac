#include "Watch.h"

#include "Log.h"
#include "Text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <sstream>

namespace
{

// What terminals understand. A line that is too long is cut, not wrapped.
constexpr const char* cClear = "\033[2J";
constexpr const char* cToTop = "\0337\033[H\033[?7l";
constexpr const char* cBack = "\033[?7h\0338";
constexpr const char* cEndLine = "\033[K\r\n";

/// Columns and lines.
winsize GetTerminalSize()
{
    constexpr unsigned short cLeast = 5;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row < cLeast || size.ws_col < cLeast)
        size = {.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    return size;
}

} // namespace

Watch::Watch(const QORMonitor& iMonitor, std::ostream& ioStream, bool ibTerminal)
    : mMonitor(iMonitor), mStream(ioStream), mbTerminal(ibTerminal)
{
    if (!mbTerminal)
        return;
    SetLogTaker([this](const std::string& iText) {
        const std::lock_guard hold(mMutex);
        mErrors.push_back(iText);
    });
    mStream << cClear << "\033[" << GetTerminalSize().ws_row << ";1H"; // what is typed stands in the last line
    mThread = std::thread([this] { Run(); });
}

Watch::~Watch()
{
    if (!mbTerminal)
        return;
    {
        const std::lock_guard hold(mMutex);
        mbStopped = true;
    }
    mChanged.notify_all();
    mThread.join();
    SetLogTaker({});
    mStream << cClear << "\033[H" << std::flush;
    for (const std::string& error : mErrors)
        LogError(error);
}

void Watch::Tell(int iJob, const std::string& iWhat)
{
    if (mbTerminal)
        return; // the table has it
    const std::lock_guard hold(mMutex);
    mStream << QORMONITOR::ToIso(QORMonitor::Now()) << " job " << iJob << ": " << OnOneLine(iWhat) << '\n'
            << std::flush;
}

void Watch::Run()
{
    constexpr std::chrono::milliseconds cTimeBetweenLooks{20};
    try
    {
        std::unique_lock hold(mMutex);
        while (!mChanged.wait_for(hold, cTimeBetweenLooks, [this] { return mbStopped; }))
        {
            hold.unlock();
            Draw();
            hold.lock();
        }
    }
    catch (const std::exception& error)
    {
        LogError(std::string("the jobs are watched no more: ") + error.what());
    }
}

/// As much of the table as the terminal has room for, and then the newest errors. The lowest line isn't touched.
void Watch::Draw()
{
    const winsize size = GetTerminalSize();
    const std::size_t room = size.ws_row - 1U;
    std::vector<std::string> errors;
    {
        const std::lock_guard hold(mMutex);
        const std::size_t shown = std::min(mErrors.size(), room / 2);
        errors.assign(mErrors.end() - static_cast<std::ptrdiff_t>(shown), mErrors.end());
    }
    QORMonitorQuery query;
    query.mbEnded = false;
    query.mLimit = room;
    const QORMonitorPage page = mMonitor.List(query);
    std::istringstream table(QORMONITOR::MakeTable(mMonitor, page, size.ws_col, room - errors.size()));
    std::vector<std::string> lines;
    for (std::string line; std::getline(table, line);)
        lines.push_back(line);
    lines.insert(lines.end(), errors.begin(), errors.end());
    lines.resize(room);
    mStream << cToTop;
    for (const std::string& line : lines)
        mStream << line << cEndLine;
    mStream << cBack << std::flush;
}
