#include "platform/builtin/LogSinks.h"

#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/QDataType.h"
#include "platform/QLog.h"
#include "platform/QResource.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/base/System.h"
#include "platform/builtin/log/Routers.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <utility>

namespace Builtin::LogSinks
{

namespace
{

struct Entry
{
    Sink mSink;
    std::string mTarget; ///< for a file a colon and its path; empty for a program's own sink
};

struct Sinks
{
    QSynch::Mutex<QSynch::LockLevelSinks> mMutex; // held while the sinks write: lines stay whole and in order
    std::map<int, Entry> mSinks QORJOB_GUARDED_BY(mMutex);
    int mLastId QORJOB_GUARDED_BY(mMutex) = 0;

    /// The environment and the program may both add one target, which gets each line once.
    bool IsFirstOfItsTarget(std::map<int, Entry>::const_iterator iSink) const QORJOB_REQUIRES(mMutex)
    {
        return iSink->second.mTarget.empty() || std::none_of(mSinks.begin(), iSink, [&](const auto& iBefore) {
                   return iBefore.second.mTarget == iSink->second.mTarget;
               });
    }
};

constinit std::atomic<std::size_t> gSinkCount{0};

Sinks& GetSinks()
{
    static NeverDestroyed<Sinks> sinks;
    return sinks.Get();
}

std::string TimeText(const QDataType::DateTime& iTime)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", iTime.GetYear(), iTime.GetMonth(),
                  iTime.GetDay(), iTime.GetHour(), iTime.GetMinute(), iTime.GetSecond(), iTime.GetMillisecond());
    return text;
}

int Add(Entry iEntry)
{
    Sinks& sinks = GetSinks();
    const QSynch::MutexHold hold(sinks.mMutex);
    sinks.mSinks.emplace(++sinks.mLastId, std::move(iEntry));
    gSinkCount.store(sinks.mSinks.size(), std::memory_order_relaxed);
    return sinks.mLastId;
}

} // namespace

int AddSink(Sink iSink) { return Add({std::move(iSink), ""}); }

void RemoveSink(int iSinkId)
{
    Sinks& sinks = GetSinks();
    const QSynch::MutexHold hold(sinks.mMutex);
    sinks.mSinks.erase(iSinkId);
    gSinkCount.store(sinks.mSinks.size(), std::memory_order_relaxed);
}

std::string ToText(const Line& iLine)
{
    QResource::MessageFormatter fields;
    fields << TimeText(QDataType::DateTime::NowUTC()) << iLine.mThreadId << iLine.mComponent << iLine.mRouter
           << iLine.mText;
    if (iLine.mCode == 0)
        return fields.Format("%1 [%2] %3/%4: %5");

    fields << QLog::Format::Hex << iLine.mCode << iLine.mTemplateName;
    if (iLine.mOrigin.empty())
        return fields.Format("%1 [%2] %3/%4: %6 %7: %5");
    fields << iLine.mOrigin;
    return fields.Format("%1 [%2] %3/%4: %6 %7 (%8): %5");
}

int AddFileSink(const std::string& iPath)
{
    System::OpenStandardStreams();
    // A sink must be copyable, and a stream is not: the copies share it.
    const auto file = std::make_shared<std::ofstream>(iPath, std::ios::app);
    if (!*file)
        throw QBase::Message("The log file " + iPath + " can't be opened.");
    const auto write = [file, iPath](const Line& iLine) {
        if (!*file)
            return; // reported already
        *file << ToText(iLine) << '\n' << std::flush;
        if (!*file)
            std::fprintf(stderr, "The log file %s can't be written any more.\n", iPath.c_str());
    };
    return Add({write, ":" + iPath});
}

int AddStandardErrorSink()
{
    const auto write = [](const Line& iLine) {
        const std::string text = ToText(iLine) + "\n";
        std::fwrite(text.data(), 1, text.size(), stderr);
    };
    return Add({write, "standard error"});
}

bool HasSinks() noexcept { return gSinkCount.load(std::memory_order_relaxed) != 0; }

void Enable(const std::string& iComponent, const std::string& iName, bool ibEnabled)
{
    Routers::Enable({iComponent, iName}, ibEnabled);
}

void Write(const Line& iLine)
{
    Sinks& sinks = GetSinks();
    const QSynch::MutexHold hold(sinks.mMutex);
    for (auto sink = sinks.mSinks.begin(); sink != sinks.mSinks.end(); ++sink)
        if (sinks.IsFirstOfItsTarget(sink))
            sink->second.mSink(iLine);
}

} // namespace Builtin::LogSinks
