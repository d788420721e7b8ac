#include "service/Ctl.h"

#include "Errors.h"
#include "Files.h"
#include "Log.h"
#include "Text.h"
#include "service/Http.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <iostream>
#include <stdexcept>
#include <thread>

namespace
{

using nlohmann::json;

enum EnumCtlCode : int
{
    CtlDone = 0,
    CtlRefused = 1,
    CtlFailed = 2,
};

constexpr const char* cUsage = R"(usage: report_server ctl [--server URL] [--token-file FILE] COMMAND

  list              the jobs, the most urgent ones first
  show N            what is known of job N
  cancel N [REASON]
  pause N           documents only
  resume N
  time N SECONDS    the time that the job has left
  submit LINE       a request as it stands in a file; its result

--server is http://127.0.0.1:8080 where it isn't given. A command's exit code: 0 it is done, 1 it was refused, or the
request has failed, 2 it isn't understood, or the service can't be reached.
)";

/// The command line is what it takes to reach the service, and then words.
struct Command
{
    std::string mServer = "http://127.0.0.1:8080";
    std::string mToken;
    std::vector<std::string> mWords;

    HttpAnswer Ask(const std::string& iMethod, const std::string& iTarget, const std::string& iBody = {},
                   std::chrono::seconds iPatience = std::chrono::seconds(10)) const
    {
        return ::Ask(mServer, {iMethod, iTarget, iBody, mToken, iPatience});
    }
};

/// Throws SetupError.
Command ParseCommand(const std::vector<std::string>& iArguments)
{
    Command command;
    std::size_t at = 0;
    for (; at + 1 < iArguments.size() && iArguments[at].starts_with("--"); at += 2)
        if (iArguments[at] == "--server")
            command.mServer = iArguments[at + 1];
        else if (iArguments[at] == "--token-file")
            command.mToken = ReadToken(iArguments[at + 1]);
        else
            throw SetupError("unknown option " + iArguments[at]);
    command.mWords.assign(iArguments.begin() + static_cast<std::ptrdiff_t>(at), iArguments.end());
    return command;
}

/// Of an object. Whoever answers may not be the service: what shouldn't be there is left out.
std::string ToCell(const json& iRow, const char* iName)
{
    const auto value = iRow.find(iName);
    if (value == iRow.end() || !(value->is_string() || value->is_number()))
        return {};
    return value->is_string() ? value->get<std::string>() : value->dump();
}

std::string ToTable(const json& iPage)
{
    constexpr const char* cNames[] = {"id",       "user",     "project", "state",      "statusName",
                                      "unitName", "stepName", "since",   "description"};
    std::vector<std::vector<std::string>> rows;
    for (const json& job : iPage.at("jobs"))
    {
        std::vector<std::string>& cells = rows.emplace_back();
        for (const char* const name : cNames)
            cells.push_back(ToCell(job, name));
        const auto error = job.find("error");
        if (error != job.end() && error->is_object() && !ToCell(*error, "reason").empty())
            cells.back() = ToCell(*error, "reason") + " | " + cells.back();
    }
    const std::string shown = OnOneLine(std::to_string(rows.size()) + " of " + ToCell(iPage, "total") + " jobs, " +
                                        ToCell(iPage, "open") + " of all open");
    return ToTextTable({{"job", true},
                        {"user"},
                        {"project"},
                        {"state"},
                        {"status"},
                        {"unit"},
                        {"step"},
                        {"since"},
                        {"reason, description"}},
                       std::move(rows)) +
           shown + "\n";
}

int Print(const std::string& iText)
{
    if (std::cout << iText << std::flush)
        return CtlDone;
    LogError("standard output can't be written");
    return CtlFailed;
}

/// What the service says: its error, or what `iShow` makes of the answer.
template <class Show>
int Tell(const HttpAnswer& iAnswer, Show&& iShow)
{
    constexpr unsigned cFirstError = 300;
    if (iAnswer.mStatus < cFirstError)
        return Print(iShow(iAnswer.mBody));
    const json said = json::parse(iAnswer.mBody, nullptr, false);
    const std::string reason = said.is_object() ? ToCell(said, "error") + ToCell(said, "answer") : "";
    LogError(reason.empty() ? "the service answers " + std::to_string(iAnswer.mStatus) : reason);
    return CtlRefused;
}

/// Until the result is there, however long that takes.
int Submit(const Command& iCommand)
{
    constexpr std::chrono::seconds cPatience{40};
    constexpr std::chrono::milliseconds cPause{200};
    constexpr const char* cWait = "?wait=30";
    HttpAnswer answer = iCommand.Ask("POST", std::string("/requests") + cWait, iCommand.mWords[1], cPatience);
    while (answer.mStatus == 202)
    {
        std::this_thread::sleep_for(cPause); // it may have too many to let all of them wait
        answer = iCommand.Ask("GET", answer.mLocation + cWait, {}, cPatience);
    }
    return Tell(answer, ToPrintable);
}

int Run(const Command& iCommand)
{
    const std::vector<std::string>& words = iCommand.mWords;
    const std::string name = words.empty() ? "" : words[0];
    if (name == "list" && words.size() == 1)
        return Tell(iCommand.Ask("GET", "/jobs?limit=500"),
                    [](const auto& iBody) { return ToTable(json::parse(iBody)); });
    if (name == "submit" && words.size() == 2)
        return Submit(iCommand);

    int id = 0;
    if (words.size() < 2 || !ParseNumber(words[1], id))
        throw SetupError("\"ctl --help\" shows the commands");
    const std::string job = "/jobs/" + words[1];
    const auto tellDone = [&](const std::string&) { return name + " " + words[1] + ": done\n"; };
    if (name == "show" && words.size() == 2)
        return Tell(iCommand.Ask("GET", job + "/dump?form=readable"), ToPrintable);
    if ((name == "pause" || name == "resume") && words.size() == 2)
        return Tell(iCommand.Ask("POST", job + "/" + name), tellDone);
    if (name == "cancel" && words.size() <= 3)
        return Tell(iCommand.Ask("POST", job + "/cancel",
                                 json{{"reason", words.size() == 3 ? ToPrintable(words[2]) : ""}}.dump()),
                    tellDone);
    if (int seconds = 0; name == "time" && words.size() == 3 && ParseNumber(words[2], seconds))
        return Tell(iCommand.Ask("POST", job + "/time", json{{"seconds", seconds}}.dump()), tellDone);
    throw SetupError("\"ctl --help\" shows the commands");
}

} // namespace

int RunCtl(const std::vector<std::string>& iArguments)
{
    try
    {
        const Command command = ParseCommand(iArguments);
        if (command.mWords == std::vector<std::string>{"--help"} || command.mWords == std::vector<std::string>{"-h"})
            return Print(cUsage);
        return Run(command);
    }
    catch (const json::exception&)
    {
        LogError("what the service answers can't be understood");
        return CtlFailed;
    }
    catch (const std::exception& error)
    {
        LogError(error.what());
        return CtlFailed;
    }
}
