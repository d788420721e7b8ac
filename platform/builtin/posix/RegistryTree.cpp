#include "platform/builtin/RegistryTree.h"

#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/builtin/posix/RegistryNodes.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace Builtin::RegistryTree
{

namespace
{

RegistryNode& Make(RegistryNode& ioRoot, std::string_view iPath) QORJOB_REQUIRES(gRegistryMutex)
{
    RegistryNode* node = &ioRoot;
    while (!iPath.empty())
    {
        std::shared_ptr<RegistryNode>& next = node->mSubKeys[std::string(TakeRegistryName(iPath))];
        if (next == nullptr)
            next = std::make_shared<RegistryNode>();
        node = next.get();
    }
    return *node;
}

/// As on Windows. The tree ends name by name: the end of a very deep one would take more than a thread's stack.
constexpr int cMostNames = 512;

void CheckPath(std::string_view iPath)
{
    if (iPath.empty() || iPath.back() == '\\' || iPath.front() == '\\' || iPath.find("\\\\") != std::string_view::npos)
        throw QBase::Message("a name is missing in the key's path");
    if (std::count(iPath.begin(), iPath.end(), '\\') >= cMostNames)
        throw QBase::Message("the key's path has more than " + std::to_string(cMostNames) + " names");
    std::string_view rest = iPath;
    const std::string_view root = TakeRegistryName(rest);
    const RegistryNameOrder before;
    if (std::none_of(std::begin(cRegistryRoots), std::end(cRegistryRoots),
                     [&](std::string_view iRoot) { return !before(iRoot, root) && !before(root, iRoot); }))
        throw QBase::Message("there is no root " + std::string(root));
}

std::string_view Trim(std::string_view iText)
{
    constexpr std::string_view blanks = " \t\r";
    const std::size_t begin = iText.find_first_not_of(blanks);
    if (begin == std::string_view::npos)
        return {};
    return iText.substr(begin, iText.find_last_not_of(blanks) - begin + 1);
}

/// A parsed line: a key, or a value of the key above it.
struct Setting
{
    std::string_view mPath;
    bool mbValue = false;
    std::string_view mName;
    std::string_view mText;
};

Setting ParseLine(std::string_view iLine, std::string_view iKey)
{
    if (iLine.front() == '[')
    {
        if (iLine.back() != ']')
            throw QBase::Message("the key's line has no ] at its end");
        const std::string_view path = Trim(iLine.substr(1, iLine.size() - 2));
        CheckPath(path);
        return {path, false, {}, {}};
    }
    const std::size_t equals = iLine.find('=');
    const std::string_view name = Trim(iLine.substr(0, equals));
    if (equals == std::string_view::npos || name.empty())
        throw QBase::Message("neither [a key] nor a name = a text");
    if (iKey.empty())
        throw QBase::Message("a value stands before the first key");
    return {iKey, true, name == "@" ? std::string_view() : name, Trim(iLine.substr(equals + 1))};
}

} // namespace

void CreateKey(std::string_view iPath)
{
    CheckPath(iPath);
    const QSynch::MutexHold hold(gRegistryMutex);
    Make(*GetRegistryTop(), iPath);
}

void SetText(std::string_view iPath, std::string_view iName, std::string_view iText)
{
    CheckPath(iPath);
    const QSynch::MutexHold hold(gRegistryMutex);
    Make(*GetRegistryTop(), iPath).mValues.insert_or_assign(std::string(iName), std::string(iText));
}

void LoadText(std::string_view iLines, const std::string& iFileName)
{
    std::vector<Setting> settings;
    std::string_view key;
    for (int number = 1; !iLines.empty(); ++number)
    {
        const std::size_t end = std::min(iLines.find('\n'), iLines.size());
        const std::string_view line = Trim(iLines.substr(0, end));
        iLines.remove_prefix(std::min(end + 1, iLines.size()));
        if (line.empty() || line.front() == '#')
            continue;
        try
        {
            settings.push_back(ParseLine(line, key));
            key = settings.back().mPath;
        }
        catch (const QBase::Message& message)
        {
            throw QBase::Message(iFileName + ":" + std::to_string(number) + ": " + message.what());
        }
    }

    for (const Setting& setting : settings)
    {
        if (setting.mbValue)
            SetText(setting.mPath, setting.mName, setting.mText);
        else
            CreateKey(setting.mPath);
    }
}

void Clear()
{
    const QSynch::MutexHold hold(gRegistryMutex);
    GetRegistryTop() = nullptr;
}

} // namespace Builtin::RegistryTree
