#include "platform/builtin/LogSinks.h"

#include "platform/QBase.h"
#include "platform/QDataType.h"
#include "platform/QLog.h"
#include "platform/builtin/NeverDestroyed.h"

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace LogSinks
{

namespace
{

struct Sinks
{
    std::mutex mMutex; // held while the sinks write: lines stay whole and in order
    std::map<int, Sink> mSinks;
    int mLastId = 0;
};

constinit std::atomic<std::size_t> gSinkCount{0};

Sinks& GetSinks()
{
    static Builtin::NeverDestroyed<Sinks> sinks;
    return sinks.Get();
}

std::string TimeText(const QDataType::DateTime& iTime)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", iTime.GetYear(), iTime.GetMonth(),
                  iTime.GetDay(), iTime.GetHour(), iTime.GetMinute(), iTime.GetSecond(), iTime.GetMillisecond());
    return text;
}

} // namespace

int AddSink(Sink iSink)
{
    Sinks& sinks = GetSinks();
    const std::lock_guard hold(sinks.mMutex);
    sinks.mSinks.emplace(++sinks.mLastId, std::move(iSink));
    gSinkCount.store(sinks.mSinks.size(), std::memory_order_relaxed);
    return sinks.mLastId;
}

void RemoveSink(int iSinkId)
{
    Sinks& sinks = GetSinks();
    const std::lock_guard hold(sinks.mMutex);
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
    // A sink is copyable and a stream is not: the copies share it.
    const auto file = std::make_shared<std::ofstream>(iPath, std::ios::app);
    if (!*file)
        throw QBase::Message("The log file " + iPath + " can't be opened.");
    return AddSink([file](const Line& iLine) { *file << ToText(iLine) << '\n' << std::flush; });
}

int AddStandardErrorSink()
{
    return AddSink([](const Line& iLine) {
        const std::string text = ToText(iLine) + "\n";
        std::fwrite(text.data(), 1, text.size(), stderr);
    });
}

bool HasSinks() noexcept { return gSinkCount.load(std::memory_order_relaxed) != 0; }

void Write(const Line& iLine)
{
    Sinks& sinks = GetSinks();
    const std::lock_guard hold(sinks.mMutex);
    for (const auto& [id, sink] : sinks.mSinks)
        sink(iLine);
}

} // namespace LogSinks
