// The nodes of the registry tree: RegistryTree fills them, QRegistry reads them.
#pragma once

#include "platform/Mutex.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/base/NeverDestroyed.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace Builtin
{

/// The order of names without regard to the case of ASCII letters.
struct RegistryNameOrder
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

/// Guards all nodes.
inline constinit QSynch::Mutex<QSynch::LockLevelShared> gRegistryMutex;

struct RegistryNode
{
    std::map<std::string, std::shared_ptr<RegistryNode>, RegistryNameOrder> mSubKeys QORJOB_GUARDED_BY(gRegistryMutex);
    std::map<std::string, std::string, RegistryNameOrder> mValues QORJOB_GUARDED_BY(gRegistryMutex);
};

/// The node above the roots.
inline std::shared_ptr<RegistryNode>& GetRegistryTop() QORJOB_REQUIRES(gRegistryMutex)
{
    static NeverDestroyed<std::shared_ptr<RegistryNode>> top;
    if (top.Get() == nullptr)
        top.Get() = std::make_shared<RegistryNode>();
    return top.Get();
}

/// In the order of QRegistry::RootHives.
inline constexpr std::string_view cRegistryRoots[] = {"HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE"};

/// Takes the first name off a path.
inline std::string_view TakeRegistryName(std::string_view& ioPath)
{
    const std::size_t end = std::min(ioPath.find('\\'), ioPath.size());
    const std::string_view name = ioPath.substr(0, end);
    ioPath.remove_prefix(std::min(end + 1, ioPath.size()));
    return name;
}

} // namespace Builtin
