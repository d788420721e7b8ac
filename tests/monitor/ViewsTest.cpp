#include "monitor/QORMonitorViews.h"
#include "monitor/Utf8.h"
#include "tests/monitor/MonitorValues.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace
{

using namespace MonitorValues;
using json = nlohmann::ordered_json;

/// The text with single quotes as JSON, in its order.
json Parse(std::string iText)
{
    std::replace(iText.begin(), iText.end(), '\'', '"');
    return json::parse(iText);
}

const std::string cFailedRow = R"({'id': 7, 'parent': 6, 'type': 1, 'typeName': 'Report request', 'status': 4,
    'statusName': 'Stopped with error', 'state': 'ended', 'unit': 2, 'unitName': 'unit 2', 'step': 4,
    'stepName': 'step 4', 'progress': 30, 'priority': 5, 'user': 'anna', 'login': 'al', 'project': 'Climate',
    'description': 'rain by month', 'created': '2026-11-21T12:00:00.078123Z', 'since': '2026-11-21T12:00:02.000000Z',
    'ended': '2026-11-21T12:00:09.000000Z', 'waiting': 0.25, 'running': 1.5,
    'error': {'code': '0x80043095', 'reason': 'no such table'}, 'commands': []})";

TEST(Views, WriteAListAsItIsDescribed)
{
    QORMonitorRow bare = MakeRow(8, EnumHostState::Queued, JobReady);
    bare.mpIdentity = std::make_shared<QORMonitorIdentity>(QORMonitorIdentity{8, -1, RequestDocument});
    bare.mUnit = 0;
    bare.mSince = 0;
    const auto list = json::parse(
        QORMONITOR::MakeListJson(MakeNames(), MakePage({MakeRow(7, EnumHostState::Ended, JobStoppedWithError), bare})));
    EXPECT_EQ(list, Parse(R"({'now': '2026-11-21T12:00:10.000000Z', 'open': 3, 'kept': 30, 'total': 33, 'offset': 20,
        'counts': {'open': 41, 'queued': 42, 'bytes': 43, 'lateThreads': 44, 'missingThreads': 45},
        'units': [{'id': 2, 'name': 'queries', 'threads': 8, 'busy': 6, 'queued': 1, 'oldestJob': 17,
                   'oldestSince': '2026-11-21T12:00:07.000000Z'},
                  {'id': 3, 'name': 'reports', 'threads': 4, 'busy': 0, 'queued': 0, 'oldestJob': null,
                   'oldestSince': null}],
        'jobs': [)" + cFailedRow +
                          R"(, {'id': 8, 'parent': null, 'type': 2, 'typeName': 'Document request',
            'status': 0, 'statusName': 'Ready', 'state': 'queued', 'unit': null, 'unitName': null, 'step': 4,
            'stepName': 'step 4', 'progress': 30, 'priority': 5, 'user': '', 'login': '', 'project': '',
            'description': '', 'created': null, 'since': null, 'ended': null, 'waiting': null, 'running': null,
            'error': null, 'commands': ['cancel', 'time', 'pause']}]})"));
}

TEST(Views, WriteAJobAsItIsDescribed)
{
    const QORMonitorRow row = MakeRow(7, EnumHostState::Ended, JobStoppedWithError);
    const auto write = [&](const QORMonitorDetail& iJob, const QORMONITOR::Family& iFamily, unsigned iLanguage) {
        return json::parse(QORMONITOR::MakeJobJson(MakeNames(), iJob, iFamily, iLanguage));
    };
    auto job = write(MakeDetail(row), {row, {row, row}}, 0x0407);
    EXPECT_EQ(job, Parse("{'job': " + cFailedRow + ", 'parent': " + cFailedRow + ", 'children': [" + cFailedRow + "," +
                         cFailedRow + R"(],
        'todo': [{'id': 10, 'name': 'step 10', 'unit': 3, 'unitName': 'unit 3', 'thread': 13,
                  'start': '2026-11-21T12:00:04.000000Z', 'finish': null, 'outcome': 'given up'},
                 {'id': 2, 'name': 'step 2', 'unit': null, 'unitName': null, 'thread': null, 'start': null,
                  'finish': null, 'outcome': 'passed'}],
        'finished': [{'id': 3, 'name': 'step 3', 'unit': 1, 'unitName': 'unit 1', 'thread': 11,
                      'start': '2026-11-21T12:00:01.000000Z', 'finish': '2026-11-21T12:00:02.000000Z', 'outcome': 'done'},
                     {'id': 4, 'name': 'step 4', 'unit': 2, 'unitName': 'unit 2', 'thread': 12,
                      'start': '2026-11-21T12:00:03.000000Z', 'finish': null, 'outcome': 'given up'},
                     {'id': 19, 'name': 'step 19', 'unit': 0, 'unitName': 'unit 0', 'thread': null, 'start': null,
                      'finish': null, 'outcome': 'passed'}],
        'visits': [{'unit': 1, 'unitName': 'unit 1', 'enter': '2026-11-21T12:00:00.500000Z',
                    'start': '2026-11-21T12:00:01.000000Z', 'exit': '2026-11-21T12:00:02.000000Z'},
                   {'unit': 2, 'unitName': 'unit 2', 'enter': '2026-11-21T12:00:02.000000Z',
                    'start': '2026-11-21T12:00:03.000000Z', 'exit': null}],
        'items': [{'slot': 0, 'type': 2, 'size': 12}, {'slot': 1, 'type': 3, 'size': 0}],
        'errors': [{'language': 'de', 'lines': ['erster']}], 'dump': 'JobId: 7\n\tline'})"));

    job = write(MakeDetail(row), {}, 0x0410);
    EXPECT_EQ(job["errors"], Parse("[{'language': 'en', 'lines': ['first', 'second']}]"));
    EXPECT_TRUE(job["parent"].is_null());
    job = write({.mRow = row, .mDump = std::string(256'001, 'x')}, {}, 0x0409);
    EXPECT_EQ(job["dump"].get<std::string>().size(), 256'000u);
    for (const char* list : {"children", "todo", "finished", "visits", "items", "errors"})
        EXPECT_EQ(job[list], json::array()) << list;
    EXPECT_EQ(json::parse(QORMONITOR::MakeErrorJson("no \"such\" job")), Parse(R"({'error': 'no \'such\' job'})"));
}

TEST(Views, TellWhatBecameOfAStep)
{
    constexpr QORMonitorTime cNever = 0;
    const struct
    {
        EnumHostState mState;
        bool mbFinished;
        QORMonitorTime mStart;
        QORMonitorTime mFinish;
        const char* mpOutcome;
    } cCases[] = {
        {EnumHostState::Running, false, cNever, cNever, "todo"},
        {EnumHostState::Running, false, 1, cNever, "running"},
        {EnumHostState::Paused, false, 1, cNever, "todo"},
        {EnumHostState::Delayed, false, 1, 2, "todo"},
        {EnumHostState::Running, true, 1, 2, "done"},
        {EnumHostState::Running, true, 1, cNever, "given up"},
        {EnumHostState::Running, true, cNever, cNever, "passed"},
        {EnumHostState::Ended, false, 1, cNever, "given up"},
        {EnumHostState::Ended, false, cNever, cNever, "passed"},
    };
    for (const auto& [state, bFinished, start, finish, outcome] : cCases)
        EXPECT_STREQ(QORMONITOR::GetOutcome({.mState = state}, {.mStart = start, .mFinish = finish}, bFinished),
                     outcome)
            << static_cast<int>(state) << bFinished << start << finish;
}

TEST(Views, OfferCommandsThatMakeSense)
{
    const struct
    {
        int mType;
        EnumHostState mState;
        int mStatus;
        const char* mpCommands;
    } cCases[] = {
        {RequestReport, EnumHostState::Running, JobExecuting, "['cancel', 'time']"},
        {RequestDocument, EnumHostState::WaitingForChildren, JobHeld18, "['cancel', 'time', 'pause']"},
        {RequestDocument, EnumHostState::Paused, JobHeld19, "['cancel', 'time', 'resume']"},
        {RequestDocument, EnumHostState::WaitingForChildren, JobPausing, "['cancel', 'time', 'resume']"},
        {RequestDocument, EnumHostState::Running, JobCancelled, "[]"}, // it is closing
        {RequestDocument, EnumHostState::Ended, JobCompleted, "[]"},
    };
    for (const auto& [type, state, status, commands] : cCases)
    {
        QORMonitorRow row{std::make_shared<QORMonitorIdentity>(QORMonitorIdentity{.mType = type}), state, status};
        const json list = json::parse(QORMONITOR::MakeListJson(MakeNames(), MakePage({row})));
        EXPECT_EQ(list["jobs"][0]["commands"], json::array()) << "nobody takes them";
        row.mbCommands = true;
        const json taken = json::parse(QORMONITOR::MakeListJson(MakeNames(), MakePage({row})));
        EXPECT_EQ(taken["jobs"][0]["commands"], Parse(commands)) << type << static_cast<int>(state) << status;
    }
}

TEST(Views, NameStatusesStatesAndTypes)
{
    const std::map<int, std::string> cStatuses = {
        {0, "Ready"},     {1, "Executing"}, {2, "Waiting"},  {3, "Completed"}, {4, "Stopped with error"},
        {5, "Cancelled"}, {6, "Stopped"},   {7, "status 7"}, {9, "Replied"},   {18, "Waiting for children"},
        {20, "Pausing"},  {-1, "status -1"}};
    for (const auto& [status, name] : cStatuses)
        EXPECT_EQ(QORMONITOR::GetStatusName(status), name);
    EXPECT_EQ(QORMONITOR::GetTypeName(0), "Meta data request");
    EXPECT_EQ(QORMONITOR::GetTypeName(10), "External Notification job request");
    EXPECT_EQ(QORMONITOR::GetTypeName(11), "type 11");
    EXPECT_EQ(QORMONITOR::GetTypeName(-1), "type -1");
    int state = 0;
    for (const char* name : {"queued", "running", "paused", "waiting", "delayed", "ended", "state 6"})
        EXPECT_EQ(QORMONITOR::GetStateName(static_cast<EnumHostState>(state++)), name);
    for (const auto& [language, name] :
         {std::pair{0x0804U, "zh"}, {0x0C07U, "de"}, {0x0411U, "ja"}, {0x0401U, "0x0401"}})
        EXPECT_EQ(QORMONITOR::ToLanguageName(language), name);
    EXPECT_EQ(QORMonitor::ToTime(QDataType::DateTime(46347.5)), cNoon);
    EXPECT_EQ(QORMONITOR::ToIso(0), "-");
    EXPECT_EQ(QORMONITOR::ToIso(951'782'400 * cSecond - 1), "2000-02-28T23:59:59.999999Z");
}

TEST(Views, DumpAJobForPeople)
{
    QORJobData::AddName(QORJOB_W("Result"), 2);
    const QORMonitorRow row = MakeRow(7, EnumHostState::Ended, JobStoppedWithError);
    EXPECT_EQ(QORMONITOR::MakeReadableDump(MakeNames(), MakeDetail(row), {{}, {row}}, 0x0409),
              R"(job 7: Report request, Stopped with error, ended
  description  rain by month
  user         anna
  login        al
  project      Climate
  parent       6
  priority     5
  progress     30 %
  unit         unit 2 (2)
  step         step 4 (4)
  created      2026-11-21 12:00:00.078 UTC
  since        2026-11-21 12:00:02.000 UTC
  ended        2026-11-21 12:00:09.000 UTC
  lived        8.922 s
  in queues    0.250 s
  in steps     1.500 s
  error        0x80043095 no such table
error text (en)
  first
  second
steps
  outcome   step          unit        thread  start                        finish                          took
  done      step 3 (3)    unit 1 (1)      11  2026-11-21 12:00:01.000 UTC  2026-11-21 12:00:02.000 UTC  1.000 s
  given up  step 4 (4)    unit 2 (2)      12  2026-11-21 12:00:03.000 UTC  -                                  -
  passed    step 19 (19)  unit 0 (0)       -  -                            -                                  -
  given up  step 10 (10)  unit 3 (3)      13  2026-11-21 12:00:04.000 UTC  -                                  -
  passed    step 2 (2)    -                -  -                            -                                  -
visits
  unit        entered                      started                      left                          waited
  unit 1 (1)  2026-11-21 12:00:00.500 UTC  2026-11-21 12:00:01.000 UTC  2026-11-21 12:00:02.000 UTC  0.500 s
  unit 2 (2)  2026-11-21 12:00:02.000 UTC  2026-11-21 12:00:03.000 UTC  -                            1.000 s
children
  job                                           user  description
  7: Report request, Stopped with error, ended  anna  rain by month
data items
  slot  type             size
     0  Result (type 2)  12 bytes
     1  type 3           too large to be kept
)");
}

TEST(Views, FitATableIntoTheTerminal)
{
    QORMonitorPage page = MakePage({MakeRow(7, EnumHostState::Running, JobExecuting, "\xE6\x97\xA5\xE6\x9C\xAC"),
                                    MakeRow(1234, EnumHostState::Ended, JobCancelled)});
    page.mRows[1].mUnit = 0;
    page.mTotal = 22;
    EXPECT_EQ(
        QORMONITOR::MakeTable(MakeNames(), page, 77, 24),
        " job  user      status     unit    step    since s  progress  description\n"
        "   7  anna\xE6\x97\xA5\xE6\x9C\xAC  Executing  unit 2  step 4      8.0      30 %  rain by month\xE2\x80\xA6\n"
        "1234  anna      Cancelled          step 4      1.0      30 %  rain by month\n");
    const auto lastLine = [&](std::size_t iLines) {
        const std::string text = QORMONITOR::MakeTable(MakeNames(), page, 200, iLines);
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), static_cast<int>(std::min<std::size_t>(iLines, 4)));
        return text.substr(text.size() < 2 ? 0 : text.rfind('\n', text.size() - 2) + 1);
    };
    EXPECT_EQ(lastLine(2), "... and 2 more\n");
    page.mTotal = 33;
    EXPECT_EQ(lastLine(24), "... and 11 more\n");
    EXPECT_EQ(lastLine(3), "... and 12 more\n");
    EXPECT_EQ(lastLine(1), "... and 13 more\n");
    EXPECT_EQ(lastLine(0), "");
    const std::string tail(40, 'x');
    page = {.mTotal = 1, .mRows = {MakeRow(8, EnumHostState::Queued, JobReady, tail)}};
    page.mRows[0].mSince = 0;
    EXPECT_EQ(
        QORMONITOR::MakeTable(MakeNames(tail), page, 94, 2),
        "job  user              status  unit                  step                          since s  p\xE2\x80\xA6\n"
        "  8  annaxxxxxxxxxxx\xE2\x80\xA6  Ready   unit 2xxxxxxxxxxxxx\xE2\x80\xA6  "
        "step 4xxxxxxxxxxxxxxxxxxxxx\xE2\x80\xA6        -   \xE2\x80\xA6\n");
}

/// What the views make of jobs whose texts all end like that, but for the metrics, which show none of a job.
std::vector<std::string> MakeAll(const std::string& iSuffix)
{
    const QORMONITOR::Names names = MakeNames(iSuffix);
    const QORMonitorRow row = MakeRow(7, EnumHostState::Ended, JobStoppedWithError, iSuffix);
    const QORMonitorPage page = MakePage({row, row}, iSuffix);
    const QORMonitorDetail detail = MakeDetail(row, iSuffix);
    const QORMONITOR::Family family{row, {row}};
    QORMonitorFigures figures;
    figures.mGivenUp[{1, 2}] = 3;
    figures.mUnits = page.mUnits;
    return {QORMONITOR::MakeListJson(names, page),
            QORMONITOR::MakeJobJson(names, detail, family, 0x0409),
            QORMONITOR::MakeTimelineJson(names, {detail}, cNoon, cNoon + 10 * cSecond),
            QORMONITOR::MakeErrorJson(iSuffix),
            QORMONITOR::MakeTrace(names, {detail}, cNoon, cNoon + 10 * cSecond),
            QORMONITOR::MakeReadableDump(names, detail, family, 0x0409),
            QORMONITOR::MakeMetrics(names, figures, cNoon),
            QORMONITOR::MakeTable(names, page, 80, 24)};
}

TEST(Views, LetNoTextDoAnything)
{
    constexpr std::size_t cJsonViews = 5;
    const std::vector<std::string> harmless = MakeAll("");
    for (const std::string& text : cHostile)
    {
        std::vector<std::string> views = MakeAll(text);
        for (std::size_t i = 0; i < views.size(); ++i)
        {
            const std::string& view = views[i];
            EXPECT_EQ(QBase::WideCharToUTF8(QBase::UTF8ToWideChar(view)), view) << "no UTF-8";
            EXPECT_EQ(QORMONITOR::ToLines(view, view.size()), view) << i << " lets through: " << text.substr(0, 100);
            // In JSON's texts line feeds are escaped, but the dump's own may be more.
            EXPECT_EQ(std::count(view.begin(), view.end(), '\n'),
                      std::count(harmless[i].begin(), harmless[i].end(), '\n'))
                << i << " has lines of: " << text;
            EXPECT_TRUE(i >= cJsonViews || json::accept(view)) << i;
        }
    }
}

} // namespace
