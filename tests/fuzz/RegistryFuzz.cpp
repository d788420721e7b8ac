// What becomes of any text for the registry. It is loaded whole, and then the tree has what its lines say, the last of
// a name counting, or not at all, and then the complaint is about the first line without which it would be loaded.
#include "platform/QBase.h"
#include "platform/builtin/RegistryTree.h"
#include "platform/builtin/posix/RegistryNodes.h"
#include "tests/fuzz/Fuzz.h"

#include <map>

namespace
{

using Builtin::RegistryNode;

const std::string cName = "setup: 1.txt";

/// Keys, and values as `key=name`, in lower case.
using Settings = std::map<std::string, std::string>;

std::string Lower(std::string_view iText)
{
    std::string text(iText);
    std::transform(text.begin(), text.end(), text.begin(), Builtin::RegistryNameOrder::Lower);
    return text;
}

void Collect(const RegistryNode& iNode, const std::string& iPath, Settings& ioThere)
    QORJOB_REQUIRES(Builtin::gRegistryMutex)
{
    for (const auto& [name, text] : iNode.mValues)
        ioThere[iPath + "=" + Lower(name)] = text;
    for (const auto& [name, node] : iNode.mSubKeys)
    {
        const std::string path = iPath + (iPath.empty() ? "" : "\\") + Lower(name);
        ioThere[path];
        Collect(*node, path, ioThere);
    }
}

Settings GetThere()
{
    const QSynch::MutexHold hold(Builtin::gRegistryMutex);
    Settings there;
    Collect(*Builtin::GetRegistryTop(), "", there);
    return there;
}

std::string_view Trim(std::string_view iText)
{
    const std::size_t first = std::min(iText.find_first_not_of(" \t\r"), iText.size());
    return iText.substr(first, iText.find_last_not_of(" \t\r") + 1 - first);
}

/// What the lines of a sound text say.
Settings Read(std::string_view iText)
{
    Settings said;
    std::string key;
    while (!iText.empty())
    {
        const std::string_view line = Trim(TakeUpTo('\n', iText));
        if (line.empty() || line.front() == '#')
            continue;
        if (line.front() == '[')
        {
            key = Lower(Trim(line.substr(1, line.size() - 2)));
            for (std::size_t end = 0; end != std::string::npos;)
            {
                end = key.find('\\', end + 1);
                said[key.substr(0, end)];
            }
            continue;
        }
        std::string_view text = line;
        const std::string name = Lower(Trim(TakeUpTo('=', text)));
        said[key + "=" + (name == "@" ? "" : name)] = Trim(text);
    }
    return said;
}

/// The line that is wrong; 0 when the text has been loaded.
int Load(std::string_view iText)
{
    Builtin::RegistryTree::Clear();
    try
    {
        Builtin::RegistryTree::LoadText(iText, cName);
        Require(GetThere() == Read(iText));
        return 0;
    }
    catch (const QBase::Message& refusal)
    {
        Require(GetThere().empty());
        return LineOf(refusal.what(), cName);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    const std::string_view text = ToText(iData, iSize);
    if (const int bad = Load(text); bad != 0)
    {
        std::string_view rest = text;
        for (int line = 1; line < bad; ++line)
            TakeUpTo('\n', rest);
        Require(!rest.empty() && Load(text.substr(0, text.size() - rest.size())) == 0);
        TakeUpTo('\n', rest);
        Require(Load(text.substr(0, text.size() - rest.size())) == bad);
    }
    Builtin::RegistryTree::Clear();
    return 0;
}
