#include "platform/builtin/log/Routers.h"

#include "platform/Mutex.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/LogSinks.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/text/Catalogue.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <new>
#include <vector>

namespace Builtin::Routers
{

namespace
{

using QLog::MessageFormatter;

class RouterBody final : public QLog::Router
{
public:
    explicit RouterBody(Key iKey) : mKey(std::move(iKey)) {}

    const Key& GetKey() const { return mKey; }
    void SetEnabled(bool ibEnabled) noexcept { mbEnabled.store(ibEnabled, std::memory_order_relaxed); }

    unsigned AddRef() noexcept override { return mReferences.fetch_add(1, std::memory_order_relaxed) + 1; }
    unsigned Release() noexcept override;

    /// False when there is no reference left: the router is being deleted.
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

    // From the general heap; `new` throws when there is no memory.
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

    bool IsHeard() const noexcept { return IsEnabled() && LogSinks::HasSinks(); }
    LogSinks::Line MakeLine(std::string iText) const;

    const Key mKey;
    std::atomic<unsigned> mReferences{1};
};

/// The last setting of one router, or of all of a component, or of all there are.
struct Rule
{
    Key mKey;
    bool mbEnabled;

    bool Covers(const Key& iKey) const
    {
        return (mKey.first == cAny || mKey.first == iKey.first) && (mKey.second == cAny || mKey.second == iKey.second);
    }
};

struct Table
{
    QSynch::Mutex<QSynch::LockLevelRouters> mMutex;
    /// Each removes itself with its last reference.
    std::map<Key, RouterBody*> mLive QORJOB_GUARDED_BY(mMutex);
    /// A later one overrides an earlier one.
    std::vector<Rule> mRules QORJOB_GUARDED_BY(mMutex);
    /// Of the expected keys, those that have covered no router yet.
    std::vector<Rule> mMissing QORJOB_GUARDED_BY(mMutex);

    bool IsEnabled(const Key& iKey) const QORJOB_REQUIRES(mMutex)
    {
        const auto rule =
            std::find_if(mRules.rbegin(), mRules.rend(), [&](const Rule& iRule) { return iRule.Covers(iKey); });
        return rule != mRules.rend() && rule->mbEnabled;
    }
};

Table& GetTable()
{
    static NeverDestroyed<Table> table;
    return table.Get();
}

unsigned RouterBody::Release() noexcept
{
    const unsigned left = mReferences.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left != 0)
        return left;
    EventTrace::Note("QLog::~Router");
    {
        Table& table = GetTable();
        const QSynch::MutexHold hold(table.mMutex);
        const auto place = table.mLive.find(mKey);
        // A new router may already have the entry.
        if (place != table.mLive.end() && place->second == this)
            table.mLive.erase(place);
    }
    delete this;
    return 0;
}

LogSinks::Line RouterBody::MakeLine(std::string iText) const
{
    LogSinks::Line line;
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
    LogSinks::Line line = MakeLine(iText);
    line.mCode = static_cast<HRESULT>(iMessageId);
    const char* const bundle = Catalogue::FindBundle(mKey.first);
    if (const Catalogue::Entry* const entry = Catalogue::Find(bundle, iMessageId, QResource::GetProcessLanguageID()))
        line.mTemplateName = entry->mpName;
    LogSinks::Write(line);
}

void RouterBody::LogLine(const char* iTemplate, const MessageFormatter& iArguments)
{
    if (IsHeard())
        LogSinks::Write(MakeLine(iArguments.Format(iTemplate)));
}

void RouterBody::LogCoded(HRESULT iCode, const char* iTemplateName, const char* iOrigin,
                          const MessageFormatter& iArguments)
{
    if (!IsHeard())
        return;
    std::string text;
    for (const std::string& argument : iArguments.GetArguments())
        text.append(text.empty() ? "" : ", ").append(argument);
    LogSinks::Line line = MakeLine(std::move(text));
    line.mCode = iCode;
    line.mTemplateName = iTemplateName;
    line.mOrigin = iOrigin == nullptr ? "" : iOrigin;
    LogSinks::Write(line);
}

} // namespace

QBase::ReturnPtrI<QLog::Router> Open(const Key& iKey)
{
    Table& table = GetTable();
    // Declared before the hold: when it can't be entered it is destroyed after it, and then takes the lock.
    QBase::PtrI<RouterBody> made;
    const QSynch::MutexHold hold(table.mMutex);
    const auto live = table.mLive.find(iKey);
    if (live != table.mLive.end() && live->second->AddRefWhileReferenced())
        return QBase::ReturnPtrI<QLog::Router>::Adopt(live->second);
    made = QBase::PtrI<RouterBody>::Adopt(new RouterBody(iKey));
    made->SetEnabled(table.IsEnabled(iKey));
    table.mLive.insert_or_assign(iKey, made.Get());
    std::erase_if(table.mMissing, [&](const Rule& iRule) { return iRule.Covers(iKey); });
    return QBase::ReturnPtrI<QLog::Router>::Adopt(made.Detach());
}

void Enable(Key iKey, bool ibEnabled)
{
    Table& table = GetTable();
    const QSynch::MutexHold hold(table.mMutex);
    const Rule rule{std::move(iKey), ibEnabled};
    std::erase_if(table.mRules, [&](const Rule& iOld) { return rule.Covers(iOld.mKey); });
    table.mRules.push_back(rule);
    for (const auto& [key, router] : table.mLive)
    {
        if (rule.Covers(key))
            router->SetEnabled(ibEnabled);
    }
}

void EnableExpected(Key iKey)
{
    Enable(iKey, true);
    Table& table = GetTable();
    const QSynch::MutexHold hold(table.mMutex);
    const Rule rule{std::move(iKey), true};
    if (std::none_of(table.mLive.begin(), table.mLive.end(),
                     [&](const auto& iLive) { return rule.Covers(iLive.first); }))
        table.mMissing.push_back(rule);
}

void ReportMissing() noexcept
{
    Table& table = GetTable();
    const QSynch::MutexHold hold(table.mMutex);
    for (const Rule& rule : table.mMissing)
        std::fprintf(stderr, "QORJOB_LOG names %s/%s: there was no such log router.\n", rule.mKey.first.c_str(),
                     rule.mKey.second.c_str());
    table.mMissing.clear();
}

} // namespace Builtin::Routers
