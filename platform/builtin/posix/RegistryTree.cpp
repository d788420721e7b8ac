#include "platform/builtin/RegistryTree.h"

#include "platform/Mutex.h"
#include "platform/QRegistry.h"
#include "platform/builtin/base/NeverDestroyed.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

namespace
{

/// Names are the same whatever their case; that of letters beyond ASCII counts.
struct NameOrder
{
    using is_transparent = void;

    bool operator()(std::string_view iLeft, std::string_view iRight) const
    {
        return std::lexicographical_compare(iLeft.begin(), iLeft.end(), iRight.begin(), iRight.end(),
                                            [](char iA, char iB) { return Lower(iA) < Lower(iB); });
    }

    static char Lower(char iLetter)
    {
        return iLetter >= 'A' && iLetter <= 'Z' ? static_cast<char>(iLetter - 'A' + 'a') : iLetter;
    }
};

constinit QSynch::Mutex gMutex; // guards every node

struct Node
{
    std::map<std::string, std::shared_ptr<Node>, NameOrder> mSubKeys QORJOB_GUARDED_BY(gMutex);
    std::map<std::string, std::string, NameOrder> mValues QORJOB_GUARDED_BY(gMutex);
};

std::shared_ptr<Node>& GetRoot() QORJOB_REQUIRES(gMutex)
{
    static Builtin::NeverDestroyed<std::shared_ptr<Node>> root;
    if (root.Get() == nullptr)
        root.Get() = std::make_shared<Node>();
    return root.Get();
}

// In the order of QRegistry::RootHives.
constexpr std::string_view cRoots[] = {"HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE"};

std::string_view TakeName(std::string_view& ioPath)
{
    const std::size_t end = std::min(ioPath.find('\\'), ioPath.size());
    const std::string_view name = ioPath.substr(0, end);
    ioPath.remove_prefix(std::min(end + 1, ioPath.size()));
    return name;
}

std::shared_ptr<Node> Find(std::shared_ptr<Node> iNode, std::string_view iPath) QORJOB_REQUIRES(gMutex)
{
    while (iNode != nullptr && !iPath.empty())
    {
        const auto found = iNode->mSubKeys.find(TakeName(iPath));
        iNode = found == iNode->mSubKeys.end() ? nullptr : found->second;
    }
    return iNode;
}

Node& Make(Node& ioRoot, std::string_view iPath) QORJOB_REQUIRES(gMutex)
{
    Node* node = &ioRoot;
    while (!iPath.empty())
    {
        std::shared_ptr<Node>& next = node->mSubKeys[std::string(TakeName(iPath))];
        if (next == nullptr)
            next = std::make_shared<Node>();
        node = next.get();
    }
    return *node;
}

void CheckPath(std::string_view iPath)
{
    if (iPath.empty() || iPath.back() == '\\' || iPath.front() == '\\' || iPath.find("\\\\") != std::string_view::npos)
        throw QBase::Message("a name is missing in the key's path");
    std::string_view rest = iPath;
    const std::string_view root = TakeName(rest);
    const NameOrder before;
    if (std::none_of(std::begin(cRoots), std::end(cRoots),
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

/// A line that says something: a key, or a value of the key above it.
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

namespace Builtin::RegistryTree
{

void CreateKey(std::string_view iPath)
{
    CheckPath(iPath);
    const QSynch::MutexHold hold(gMutex);
    Make(*GetRoot(), iPath);
}

void SetText(std::string_view iPath, std::string_view iName, std::string_view iText)
{
    CheckPath(iPath);
    const QSynch::MutexHold hold(gMutex);
    Make(*GetRoot(), iPath).mValues.insert_or_assign(std::string(iName), std::string(iText));
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

void LoadFile(const std::string& iFileName)
{
    std::ifstream file(iFileName, std::ios::binary);
    const std::string lines{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad())
        throw QBase::Message(iFileName + ": can't be read");
    LoadText(lines, iFileName);
}

void Clear()
{
    const QSynch::MutexHold hold(gMutex);
    GetRoot() = nullptr;
}

} // namespace Builtin::RegistryTree

namespace QRegistry
{

namespace
{

std::shared_ptr<Node> NodeOf(const std::shared_ptr<void>& iHandle) { return std::static_pointer_cast<Node>(iHandle); }

} // namespace

Key OpenKeyFromRoot(RootHives iHive, const QBase::WCHAR* iPath)
{
    const std::string path = std::string(cRoots[static_cast<int>(iHive)]) + "\\" + QBase::WideCharToUTF8(iPath);
    const QSynch::MutexHold hold(gMutex);
    std::shared_ptr<Node> node = Find(GetRoot(), path);
    if (node == nullptr)
        throw KeyException("Registry key " + path + " isn't there");
    return Key(std::move(node));
}

bool Key::HasSubKey(const QBase::WCHAR* iPath) const
{
    const std::string path = QBase::WideCharToUTF8(iPath);
    const QSynch::MutexHold hold(gMutex);
    return Find(NodeOf(mHandle), path) != nullptr;
}

bool Key::HasUnnamedValue() const
{
    const QSynch::MutexHold hold(gMutex);
    return NodeOf(mHandle)->mValues.contains(std::string_view());
}

QBase::wstring Key::ReadText(const QBase::WCHAR* iName, const QBase::WCHAR* iDefault) const
{
    const std::string name = iName == nullptr ? std::string() : QBase::WideCharToUTF8(iName);
    const QSynch::MutexHold hold(gMutex);
    const auto& values = NodeOf(mHandle)->mValues;
    const auto found = values.find(name);
    return found == values.end() ? QBase::wstring(iDefault) : QBase::UTF8ToWideChar(found->second);
}

} // namespace QRegistry
