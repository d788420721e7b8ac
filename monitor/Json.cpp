#include "monitor/Forms.h"
#include "monitor/Spans.h"
#include "monitor/Utf8.h"

#include <nlohmann/json.hpp>

#include <initializer_list>
#include <map>
#include <utility>

namespace QORMONITOR
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr double cMicroseconds = 1e6;         // in a second
constexpr std::size_t cLongestDump = 256'000; // bytes

std::string ToString(const Json& iJson) { return iJson.dump(-1, ' ', false, Json::error_handler_t::replace); }

/// An object with these members. An initializer list of Json's own makes an array of each pair first, which costs more
/// than all else in a long list.
Json ToObject(std::initializer_list<std::pair<const char*, Json>> iMembers)
{
    Json json = Json::object();
    auto& members = json.get_ref<Json::object_t&>();
    members.reserve(iMembers.size());
    for (const auto& [name, value] : iMembers)
        members.emplace_back(name, value);
    return json;
}

Json ToTime(QORMonitorTime iTime) { return iTime == 0 ? Json() : Json(ToIso(iTime)); }
Json ToUnit(int iUnit, bool ibThere) { return ibThere ? Json(iUnit) : Json(); }
Json ToUnitName(const Names& iNames, int iUnit, bool ibThere) { return ibThere ? Json(iNames.GetUnit(iUnit)) : Json(); }

/// Those that make sense in its state.
Json ToCommands(const QORMonitorRow& iRow)
{
    Json commands = Json::array();
    if (!iRow.mbCommands || iRow.mState == EnumHostState::Ended || QORJOB::HasEnded(iRow.mStatus))
        return commands;
    commands = {"cancel", "time"};
    if (iRow.mState == EnumHostState::Paused || iRow.mStatus == JobPausing)
        commands.push_back("resume");
    else if (iRow.mpIdentity->mType == RequestDocument)
        commands.push_back("pause");
    return commands;
}

Json ToError(const QORMonitorRow& iRow)
{
    if (!QORJOB::HasFailed(iRow.mStatus))
        return {};
    return {{"code", ToHex(iRow.mErrorCode)}, {"reason", ToLine(iRow.mReason)}};
}

Json ToJson(const Names& iNames, const QORMonitorRow& iRow)
{
    const QORMonitorIdentity& identity = *iRow.mpIdentity;
    const bool bEnded = iRow.mState == EnumHostState::Ended;
    const bool bUnit = iRow.mUnit > 0;
    return ToObject({{"id", identity.mId},
                     {"parent", identity.mParentId == -1 ? Json() : Json(identity.mParentId)},
                     {"type", identity.mType},
                     {"typeName", GetTypeName(identity.mType)},
                     {"status", iRow.mStatus},
                     {"statusName", GetStatusName(iRow.mStatus)},
                     {"state", GetStateName(iRow.mState)},
                     {"unit", ToUnit(iRow.mUnit, bUnit)},
                     {"unitName", ToUnitName(iNames, iRow.mUnit, bUnit)},
                     {"step", iRow.mStep},
                     {"stepName", iNames.GetStep(iRow.mStep)},
                     {"progress", iRow.mProgress},
                     {"priority", iRow.mPriority},
                     {"user", ToLine(identity.mUser)},
                     {"login", ToLine(identity.mLogin)},
                     {"project", ToLine(identity.mProject)},
                     {"description", ToLine(identity.mDescription)},
                     {"created", ToTime(identity.mCreated)},
                     {"since", ToTime(iRow.mSince)},
                     {"ended", ToTime(iRow.mEnded)},
                     {"waiting", bEnded ? Json(iRow.mWaiting) : Json()},
                     {"running", bEnded ? Json(iRow.mRunning) : Json()},
                     {"error", ToError(iRow)},
                     {"commands", ToCommands(iRow)}});
}

Json ToJson(const QORMonitorUnit& iUnit)
{
    const bool bWaits = iUnit.mOldest != -1;
    return {{"id", iUnit.mId},
            {"name", ToLine(iUnit.mName)},
            {"threads", iUnit.mThreads},
            {"busy", iUnit.mBusy},
            {"queued", iUnit.mQueued},
            {"oldestJob", bWaits ? Json(iUnit.mOldest) : Json()},
            {"oldestSince", bWaits ? ToTime(iUnit.mOldestSince) : Json()}};
}

Json ToJson(const Names& iNames, const QORMonitorRow& iJob, const QORMonitorStep& iStep, bool ibFinished)
{
    const bool bUnit = iStep.mUnit >= 0;
    return {{"id", iStep.mId},
            {"name", iNames.GetStep(iStep.mId)},
            {"unit", ToUnit(iStep.mUnit, bUnit)},
            {"unitName", ToUnitName(iNames, iStep.mUnit, bUnit)},
            {"thread", iStep.mThread == 0 ? Json() : Json(iStep.mThread)},
            {"start", ToTime(iStep.mStart)},
            {"finish", ToTime(iStep.mFinish)},
            {"outcome", GetOutcome(iJob, iStep, ibFinished)}};
}

/// An array of what the function makes of each.
template <class Values, class Function>
Json ToArray(const Values& iValues, Function iToJson)
{
    Json array = Json::array();
    for (const auto& value : iValues)
        array.push_back(iToJson(value));
    return array;
}

double ToSeconds(QORMonitorTime iTime) { return static_cast<double>(iTime) / cMicroseconds; }

} // namespace

std::string MakeListJson(const Names& iNames, const QORMonitorPage& iPage)
{
    const QORHostCounts& counts = iPage.mCounts;
    return ToString({
        {"now", ToTime(iPage.mNow)},
        {"open", iPage.mOpen},
        {"kept", iPage.mKept},
        {"total", iPage.mTotal},
        {"offset", iPage.mOffset},
        {"counts",
         {{"open", counts.mOpen},
          {"queued", counts.mQueued},
          {"bytes", counts.mBytes},
          {"lateThreads", counts.mLateThreads},
          {"missingThreads", counts.mMissingThreads}}},
        {"units", ToArray(iPage.mUnits, [](const QORMonitorUnit& iUnit) { return ToJson(iUnit); })},
        {"jobs", ToArray(iPage.mRows, [&](const QORMonitorRow& iRow) { return ToJson(iNames, iRow); })},
    });
}

std::string MakeJobJson(const Names& iNames, const QORMonitorDetail& iJob, const Family& iFamily, unsigned iLanguage)
{
    const auto toRow = [&](const QORMonitorRow& iRow) { return ToJson(iNames, iRow); };
    const auto toSteps = [&](const std::vector<QORMonitorStep>& iSteps, bool ibFinished) {
        return ToArray(iSteps,
                       [&](const QORMonitorStep& iStep) { return ToJson(iNames, iJob.mRow, iStep, ibFinished); });
    };
    const auto toVisit = [&](const QORMonitorVisit& iVisit) -> Json {
        return {{"unit", iVisit.mUnit},
                {"unitName", iNames.GetUnit(iVisit.mUnit)},
                {"enter", ToTime(iVisit.mEnter)},
                {"start", ToTime(iVisit.mStart)},
                {"exit", ToTime(iVisit.mExit)}};
    };
    const auto toItem = [](const QORMonitorItem& iItem) -> Json {
        return {{"slot", iItem.mSlot}, {"type", iItem.mType}, {"size", iItem.mSize}};
    };
    Json errors = Json::array();
    if (const auto text = FindErrors(iJob, iLanguage))
        errors.push_back({{"language", text->mLanguage}, {"lines", text->mLines}});
    return ToString({
        {"job", toRow(iJob.mRow)},
        {"parent", iFamily.mParent ? toRow(*iFamily.mParent) : Json()},
        {"children", ToArray(iFamily.mChildren, toRow)},
        {"todo", toSteps(iJob.mTodo, false)},
        {"finished", toSteps(iJob.mFinished, true)},
        {"visits", ToArray(iJob.mVisits, toVisit)},
        {"items", ToArray(iJob.mItems, toItem)},
        {"errors", errors},
        {"dump", ToLines(iJob.mDump, cLongestDump)},
    });
}

std::string MakeTimelineJson(const Names& iNames, const std::vector<QORMonitorDetail>& iJobs, QORMonitorTime iFrom,
                             QORMonitorTime iTo)
{
    Json tracks = Json::array();
    std::map<int, int> workers; // of each unit, so far
    for (const auto& [worker, spans] : FindWorkers(iJobs, iFrom, iTo))
    {
        const auto toSpan = [&](const JobSpan& iSpan) -> Json {
            const QORMonitorIdentity& identity = *iSpan.mpJob->mRow.mpIdentity;
            return {{"job", identity.mId},
                    {"step", iSpan.mpStep->mId},
                    {"name", iNames.GetStep(iSpan.mpStep->mId)},
                    {"user", ToLine(identity.mUser)},
                    {"start", ToSeconds(iSpan.mStart - iFrom)},
                    {"end", ToSeconds(iSpan.mEnd - iFrom)},
                    {"outcome", iSpan.mpOutcome}};
        };
        tracks.push_back({{"unit", worker.first},
                          {"unitName", iNames.GetUnit(worker.first)},
                          {"worker", ++workers[worker.first]},
                          {"thread", worker.second},
                          {"spans", ToArray(spans, toSpan)}});
    }

    std::map<int, Json> stays; // by unit
    for (const QORMonitorDetail& job : iJobs)
        for (const Span& span : FindSpans(job, iFrom, iTo))
            if (span.mpStep == nullptr)
                stays[span.mUnit].push_back({{"job", job.mRow.mpIdentity->mId},
                                             {"user", ToLine(job.mRow.mpIdentity->mUser)},
                                             {"start", ToSeconds(span.mStart - iFrom)},
                                             {"end", ToSeconds(span.mEnd - iFrom)}});
    Json queues = Json::array();
    for (auto& [unit, spans] : stays)
        queues.push_back({{"unit", unit}, {"unitName", iNames.GetUnit(unit)}, {"spans", std::move(spans)}});
    return ToString({{"from", ToTime(iFrom)}, {"to", ToTime(iTo)}, {"tracks", tracks}, {"queues", queues}});
}

std::string MakeErrorJson(std::string_view iText) { return ToString({{"error", ToLine(iText)}}); }

} // namespace QORMONITOR
