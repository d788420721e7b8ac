#include "platform/QRegistry.h"

#include "platform/Mutex.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/posix/RegistryNodes.h"

namespace QRegistry
{

namespace
{

using Node = Builtin::RegistryNode;

std::shared_ptr<Node> NodeOf(const std::shared_ptr<void>& iHandle) { return std::static_pointer_cast<Node>(iHandle); }

std::shared_ptr<Node> Find(std::shared_ptr<Node> iNode, std::string_view iPath) QORJOB_REQUIRES(Builtin::gRegistryMutex)
{
    while (iNode != nullptr && !iPath.empty())
    {
        const auto found = iNode->mSubKeys.find(Builtin::TakeRegistryName(iPath));
        iNode = found == iNode->mSubKeys.end() ? nullptr : found->second;
    }
    return iNode;
}

} // namespace

Key OpenKeyFromRoot(RootHives iHive, const QBase::WCHAR* iPath)
{
    const std::string root(Builtin::cRegistryRoots[static_cast<int>(iHive)]);
    const std::string path = root + "\\" + QBase::WideCharToUTF8(iPath);
    const QSynch::MutexHold hold(Builtin::gRegistryMutex);
    std::shared_ptr<Node> node = Find(Builtin::GetRegistryTop(), path);
    if (node == nullptr)
        throw KeyException("Registry key " + path + " isn't there");
    return Key(std::move(node));
}

bool Key::HasSubKey(const QBase::WCHAR* iPath) const
{
    const std::string path = QBase::WideCharToUTF8(iPath);
    const QSynch::MutexHold hold(Builtin::gRegistryMutex);
    return Find(NodeOf(mHandle), path) != nullptr;
}

bool Key::HasUnnamedValue() const
{
    const QSynch::MutexHold hold(Builtin::gRegistryMutex);
    return NodeOf(mHandle)->mValues.contains(std::string_view());
}

QBase::wstring Key::ReadText(const QBase::WCHAR* iName, const QBase::WCHAR* iDefault) const
{
    const std::string name = iName == nullptr ? std::string() : QBase::WideCharToUTF8(iName);
    const QSynch::MutexHold hold(Builtin::gRegistryMutex);
    const auto& values = NodeOf(mHandle)->mValues;
    const auto found = values.find(name);
    return found == values.end() ? QBase::wstring(iDefault) : QBase::UTF8ToWideChar(found->second);
}

} // namespace QRegistry
