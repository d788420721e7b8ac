#include "platform/QLog.h"

#include "platform/Mutex.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/LibraryUsers.h"
#include "platform/builtin/LogSinks.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/text/Catalogue.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QLog
{

namespace
{

using RouterKey = std::pair<std::string, std::string>; // component, name

constexpr const char* cAny = "*";

class RouterBody final : public Router
{
public:
    explicit RouterBody(RouterKey iKey) : mKey(std::move(iKey)) {}

    const RouterKey& GetKey() const { return mKey; }
    void SetEnabled(bool ibEnabled) noexcept { mbEnabled.store(ibEnabled, std::memory_order_relaxed); }

    unsigned AddRef() noexcept override { return mReferences.fetch_add(1, std::memory_order_relaxed) + 1; }
    unsigned Release() noexcept override;

    /// False when the last reference is gone: the router is on its way out.
    bool AddRefWhileReferenced() noexcept
    {
        unsigned references = mReferences.load(std::memory_order_relaxed);
        while (references != 0 && !mReferences.compare_exchange_weak(references, references + 1))
        {
        }
        return references != 0;
    }

    QBase::ReturnPtrI<QResource::Bundle> GetResourceBundle() override
    {
        return QResource::GetFileBundle(mKey.first.c_str());
    }
    void RecordText(const char* iText, unsigned iMessageId, int, int, int) override;

    void LogLine(const char* iTemplate, const MessageFormatter& iArguments) override;
    void LogCoded(HRESULT iCode, const char* iTemplateName, const char* iOrigin,
                  const MessageFormatter& iArguments) override;

    // Of the general heap; `new` throws where there is no memory.
    static void* operator new(std::size_t iBytes)
    {
        void* const memory = QBase::HeapAllocate(iBytes);
        if (memory == nullptr)
            throw std::bad_alloc();
        return memory;
    }
    static void operator delete(void* iMemory) noexcept { QBase::HeapFree(iMemory); }

private:
    ~RouterBody() override = default;

    bool IsHeard() const noexcept { return IsEnabled() && Builtin::LogSinks::HasSinks(); }
    Builtin::LogSinks::Line MakeLine(std::string iText) const;

    const RouterKey mKey;
    std::atomic<unsigned> mReferences{1};
};

/// What was last said about one router, or about all of a component, or about all there are.
struct Rule
{
    RouterKey mKey;
    bool mbEnabled;

    bool Covers(const RouterKey& iKey) const
    {
        return (mKey.first == cAny || mKey.first == iKey.first) && (mKey.second == cAny || mKey.second == iKey.second);
    }
};

struct Routers
{
    QSynch::Mutex mMutex;
    /// Each removes itself with its last reference.
    std::map<RouterKey, RouterBody*> mLive QORJOB_GUARDED_BY(mMutex);
    /// A later one overrules an earlier one.
    std::vector<Rule> mRules QORJOB_GUARDED_BY(mMutex);
    /// Those of the environment that have covered no router yet.
    std::vector<Rule> mUnmet QORJOB_GUARDED_BY(mMutex);

    bool IsEnabled(const RouterKey& iKey) const QORJOB_REQUIRES(mMutex)
    {
        const auto rule =
            std::find_if(mRules.rbegin(), mRules.rend(), [&](const Rule& iRule) { return iRule.Covers(iKey); });
        return rule != mRules.rend() && rule->mbEnabled;
    }
};

Routers& GetRouters()
{
    static Builtin::NeverDestroyed<Routers> routers;
    return routers.Get();
}

unsigned RouterBody::Release() noexcept
{
    const unsigned left = mReferences.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left != 0)
        return left;
    Builtin::EventTrace::Note("QLog::~Router");
    {
        Routers& routers = GetRouters();
        const QSynch::MutexHold hold(routers.mMutex);
        const auto place = routers.mLive.find(mKey);
        // A new router may already have taken the place.
        if (place != routers.mLive.end() && place->second == this)
            routers.mLive.erase(place);
    }
    delete this;
    return 0;
}

Builtin::LogSinks::Line RouterBody::MakeLine(std::string iText) const
{
    Builtin::LogSinks::Line line;
    line.mComponent = mKey.first;
    line.mRouter = mKey.second;
    line.mText = std::move(iText);
    line.mThreadId = QBase::GetCurrentThreadID();
    return line;
}

void RouterBody::RecordText(const char* iText, unsigned iMessageId, int, int, int)
{
    if (!IsHeard())
        return;
    Builtin::LogSinks::Line line = MakeLine(iText);
    line.mCode = static_cast<HRESULT>(iMessageId);
    const char* const bundle = Builtin::Catalogue::FindBundle(mKey.first);
    if (const Builtin::Catalogue::Entry* const entry =
            Builtin::Catalogue::Find(bundle, iMessageId, QResource::GetProcessLanguageID()))
        line.mTemplateName = entry->mpName;
    Builtin::LogSinks::Write(line);
}

void RouterBody::LogLine(const char* iTemplate, const MessageFormatter& iArguments)
{
    if (IsHeard())
        Builtin::LogSinks::Write(MakeLine(iArguments.Format(iTemplate)));
}

void RouterBody::LogCoded(HRESULT iCode, const char* iTemplateName, const char* iOrigin,
                          const MessageFormatter& iArguments)
{
    if (!IsHeard())
        return;
    std::string text;
    for (const std::string& argument : iArguments.GetArguments())
        text.append(text.empty() ? "" : ", ").append(argument);
    Builtin::LogSinks::Line line = MakeLine(std::move(text));
    line.mCode = iCode;
    line.mTemplateName = iTemplateName;
    line.mOrigin = iOrigin == nullptr ? "" : iOrigin;
    Builtin::LogSinks::Write(line);
}

/// The library's time between its first and its last initialiser.
struct Uptime
{
    QSynch::Mutex mMutex;
    unsigned mInitializers QORJOB_GUARDED_BY(mMutex) = 0;
    int mSinkId QORJOB_GUARDED_BY(mMutex) = 0; ///< of the environment's sink; 0: there is none
};

Uptime& GetUptime()
{
    static Builtin::NeverDestroyed<Uptime> uptime;
    return uptime.Get();
}

std::string_view WithoutBlanks(std::string_view iText)
{
    const std::size_t first = std::min(iText.find_first_not_of(' '), iText.size());
    return iText.substr(first, iText.find_last_not_of(' ') + 1 - first);
}

/// Takes "Kernel/Job Trace, Kernel/Error"; a component alone, or "all", stands for all of it.
void EnableListed(std::string_view iList)
{
    while (!iList.empty())
    {
        const std::size_t comma = std::min(iList.find(','), iList.size());
        const std::string_view item = WithoutBlanks(iList.substr(0, comma));
        iList.remove_prefix(std::min(comma + 1, iList.size()));
        if (item.empty())
            continue;
        const std::size_t slash = item.find('/');
        RouterKey key(item == "all" ? cAny : item.substr(0, slash), cAny);
        if (slash != std::string_view::npos)
            key.second = item.substr(slash + 1);
        Builtin::LogSinks::Enable(key.first, key.second, true);

        Routers& routers = GetRouters();
        const QSynch::MutexHold hold(routers.mMutex);
        const Rule rule{std::move(key), true};
        if (std::none_of(routers.mLive.begin(), routers.mLive.end(),
                         [&](const auto& iLive) { return rule.Covers(iLive.first); }))
            routers.mUnmet.push_back(rule);
    }
}

/// Routers are made by whoever needs them: that a name was wrong is known no sooner than at the end.
void ReportUnmet() noexcept
{
    Routers& routers = GetRouters();
    const QSynch::MutexHold hold(routers.mMutex);
    for (const Rule& rule : routers.mUnmet)
        std::fprintf(stderr, "QORJOB_LOG names %s/%s: there was no such log router.\n", rule.mKey.first.c_str(),
                     rule.mKey.second.c_str());
    routers.mUnmet.clear();
}

/// Null for an empty variable, too.
const char* Setting(const char* iName)
{
    const char* const value = std::getenv(iName);
    return value == nullptr || *value == '\0' ? nullptr : value;
}

int AddEnvironmentSink()
{
    const char* const path = Setting("QORJOB_LOG_FILE");
    if (path == nullptr)
        return Builtin::LogSinks::AddStandardErrorSink();
    try
    {
        return Builtin::LogSinks::AddFileSink(path);
    }
    catch (const QBase::Message& message)
    {
        // A server comes up without its log file too.
        std::fprintf(stderr, "%s\n", message.what());
        return Builtin::LogSinks::AddStandardErrorSink();
    }
}

} // namespace

QBase::ReturnPtrI<Router> CreateRouter(const char* iComponent, const char* iName, int iLockCategory)
{
    Builtin::EventTrace::Note("QLog::CreateRouter", {iLockCategory});
    RouterKey key(iComponent, iName);
    if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::RouterCreation))
        throw QBase::Message("The log router " + key.first + "/" + key.second + " can't be made.");

    Routers& routers = GetRouters();
    QBase::PtrI<RouterBody> made; // goes, where it can't be entered, behind the lock: its end takes it
    const QSynch::MutexHold hold(routers.mMutex);
    const auto live = routers.mLive.find(key);
    if (live != routers.mLive.end() && live->second->AddRefWhileReferenced())
        return QBase::ReturnPtrI<Router>::Adopt(live->second);
    made = QBase::PtrI<RouterBody>::Adopt(new RouterBody(key));
    made->SetEnabled(routers.IsEnabled(key));
    routers.mLive.insert_or_assign(key, made.Get());
    std::erase_if(routers.mUnmet, [&](const Rule& iRule) { return iRule.Covers(key); });
    return QBase::ReturnPtrI<Router>::Adopt(made.Detach());
}

Initializer::Initializer()
{
    if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::LibraryStart))
        throw QBase::Message("The logging library can't be brought up.");
    Builtin::EventTrace::Note("QLog::Initializer");
    Uptime& uptime = GetUptime();
    const QSynch::MutexHold hold(uptime.mMutex);
    if (uptime.mInitializers == 0)
    {
        if (const char* const list = Setting("QORJOB_LOG"))
        {
            EnableListed(list);
            uptime.mSinkId = AddEnvironmentSink();
        }
        else if (Setting("QORJOB_LOG_FILE") != nullptr)
        {
            std::fputs("QORJOB_LOG_FILE is of no use: QORJOB_LOG names no log router.\n", stderr);
        }
    }
    ++uptime.mInitializers;
}

Initializer::~Initializer()
{
    Builtin::EventTrace::Note("QLog::~Initializer");
    Uptime& uptime = GetUptime();
    const QSynch::MutexHold hold(uptime.mMutex);
    if (--uptime.mInitializers != 0)
        return;
    Builtin::LogSinks::RemoveSink(std::exchange(uptime.mSinkId, 0));
    ReportUnmet();
}

} // namespace QLog

unsigned Builtin::LibraryUsers::GetLogUsers()
{
    QLog::Uptime& uptime = QLog::GetUptime();
    const QSynch::MutexHold hold(uptime.mMutex);
    return uptime.mInitializers;
}

void Builtin::LogSinks::Enable(const std::string& iComponent, const std::string& iName, bool ibEnabled)
{
    QLog::Routers& routers = QLog::GetRouters();
    const QSynch::MutexHold hold(routers.mMutex);
    const QLog::Rule rule{{iComponent, iName}, ibEnabled};
    std::erase_if(routers.mRules, [&](const QLog::Rule& iOld) { return rule.Covers(iOld.mKey); });
    routers.mRules.push_back(rule);
    for (const auto& [key, router] : routers.mLive)
    {
        if (rule.Covers(key))
            router->SetEnabled(ibEnabled);
    }
}
