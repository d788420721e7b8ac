// Values for the views: a job whose fields all differ, and texts that do harm where nobody takes care.
#pragma once

#include "monitor/Forms.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace MonitorValues
{

constexpr QORMonitorTime cSecond = 1'000'000;
constexpr QORMonitorTime cNoon = 1'795'262'400 * cSecond; // 2026-11-21T12:00:00Z

inline QORMONITOR::Names MakeNames(const std::string& iSuffix = "")
{
    return {[iSuffix](int iUnit) { return "unit " + std::to_string(iUnit) + iSuffix; },
            [iSuffix](int iStep) { return "step " + std::to_string(iStep) + iSuffix; }};
}

/// `iSuffix` ends each of its texts.
inline QORMonitorRow MakeRow(int iId, EnumHostState iState, int iStatus, const std::string& iSuffix = "")
{
    const auto identity = std::make_shared<QORMonitorIdentity>(
        QORMonitorIdentity{iId, 6, RequestReport, cNoon + 78'123, "anna" + iSuffix, "al" + iSuffix, "Climate" + iSuffix,
                           "rain by month" + iSuffix});
    const bool bEnded = iState == EnumHostState::Ended;
    return {identity,
            iState,
            iStatus,
            5,
            30,
            2,
            4,
            cNoon + 2 * cSecond,
            bEnded ? cNoon + 9 * cSecond : 0,
            bEnded ? 0.25 : 0,
            bEnded ? 1.5 : 0,
            QORJOB::HasFailed(iStatus) ? static_cast<HRESULT>(0x80043095) : S_OK,
            QORJOB::HasFailed(iStatus) ? "no such table" + iSuffix : "",
            true};
}

inline std::vector<int> IdsOf(const std::vector<QORMonitorRow>& iRows)
{
    std::vector<int> ids;
    for (const QORMonitorRow& row : iRows)
        ids.push_back(row.mpIdentity->mId);
    return ids;
}

inline QORMonitorDetail MakeDetail(const QORMonitorRow& iRow, const std::string& iSuffix = "")
{
    std::string error = "first" + iSuffix;
    std::replace(error.begin(), error.end(), '\n', ' '); // a line each
    return {
        iRow,
        {{10, 3, 13, cNoon + 4 * cSecond, 0}, {2, -1, 0, 0, 0}},
        {{3, 1, 11, cNoon + 1 * cSecond, cNoon + 2 * cSecond}, {4, 2, 12, cNoon + 3 * cSecond, 0}, {19, 0, 0, 0, 0}},
        {{1, cNoon + cSecond / 2, cNoon + 1 * cSecond, cNoon + 2 * cSecond},
         {2, cNoon + 2 * cSecond, cNoon + 3 * cSecond, 0}},
        {{0, 2, 12}, {1, 3, 0}},
        {{0x0409, error + "\nsecond"}, {0x0407, "erster"}},
        "JobId: 7\n\tline" + iSuffix};
}

inline QORMonitorPage MakePage(std::vector<QORMonitorRow> iRows, const std::string& iSuffix = "")
{
    return {cNoon + 10 * cSecond,
            3,
            30,
            33,
            20,
            std::move(iRows),
            {{2, "queries" + iSuffix, 8, 6, 1, 17, cNoon + 7 * cSecond}, {3, "reports" + iSuffix, 4, 0, 0}},
            {41, 42, 43, 44, 45}};
}

inline const std::vector<std::string> cHostile = {
    "</script><img src=x onerror=alert(1)>",
    "\"'\\{}&%s%n",
    "\nforged: line\r\n",
    "\x1B[2J\x1B]0;title\x07\t\x7F",
    "\xE2\x80\xAEtxt.exe\xE2\x81\xA6\xE2\x81\xA9\xE2\x80\xAC", // text that reads backwards
    "\xC2\x85\xE2\x80\xA8\xE2\x80\xA9\xE2\x80\x8B\xEF\xBB\xBF",
    "\xFF\xC0\xAF\xED\xA0\x80\xF4\x90\x80\x80\xE2\x82",
    std::string(1, '\0') + "after",
    std::string(10'000, 'x'),
    std::string(10'001, '\xC3'),
};

} // namespace MonitorValues
