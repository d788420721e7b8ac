// The registry library: keys and their texts, of the system's registry on Windows, elsewhere of a tree in memory.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/Windows.h"

#include <memory>
#include <utility>

namespace QRegistry
{

enum class RootHives : int
{
    ClassesRoot = 0,
    CurrentUser = 1,
    LocalMachine = 2,
};

/// A key that can't be opened or read. The text names the key.
class QORJOB_API KeyException : public QBase::Message
{
public:
    using Message::Message;
};

/// An open key; it is closed with its last copy. Paths have backslashes between their names; names are compared without
/// regard to case.
///
/// Threads: any.
/// Owns:    the system's handle.
/// Errors:  KeyException; std::bad_alloc.
/// Locks:   none.
class QORJOB_API Key
{
public:
    explicit Key(std::shared_ptr<void> iHandle) : mHandle(std::move(iHandle)) {}

    bool HasSubKey(const QBase::WCHAR* iPath) const;
    bool HasUnnamedValue() const;
    /// The value of that name (null or empty: the unnamed one), `iDefault` when there is none. A value of
    /// another type is a KeyException.
    QBase::wstring ReadText(const QBase::WCHAR* iName, const QBase::WCHAR* iDefault) const;

private:
    std::shared_ptr<void> mHandle;
};

QORJOB_API Key OpenKeyFromRoot(RootHives iHive, const QBase::WCHAR* iPath);

} // namespace QRegistry
