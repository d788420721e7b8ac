#include "platform/QRegistry.h"

#include <string>

namespace QRegistry
{

namespace
{

const HKEY cRoots[] = {HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE};

[[noreturn]] void Refuse(const char* iWhat, LSTATUS iStatus)
{
    throw KeyException(std::string(iWhat) + ": system error " + std::to_string(iStatus));
}

LSTATUS Open(HKEY iParent, const QBase::WCHAR* iPath, std::shared_ptr<void>& oHandle)
{
    HKEY handle = nullptr;
    const LSTATUS status = ::RegOpenKeyExW(iParent, iPath, 0, KEY_READ, &handle);
    if (status == ERROR_SUCCESS)
        oHandle = std::shared_ptr<void>(handle, [](void* iHandle) { ::RegCloseKey(static_cast<HKEY>(iHandle)); });
    return status;
}

HKEY HandleOf(const std::shared_ptr<void>& iHandle) { return static_cast<HKEY>(iHandle.get()); }

} // namespace

Key OpenKeyFromRoot(RootHives iHive, const QBase::WCHAR* iPath)
{
    std::shared_ptr<void> handle;
    const LSTATUS status = Open(cRoots[static_cast<int>(iHive)], iPath, handle);
    if (status != ERROR_SUCCESS)
        Refuse(("Registry key " + QBase::WideCharToUTF8(iPath)).c_str(), status);
    return Key(std::move(handle));
}

bool Key::HasSubKey(const QBase::WCHAR* iPath) const
{
    std::shared_ptr<void> handle;
    const LSTATUS status = Open(HandleOf(mHandle), iPath, handle);
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND && status != ERROR_PATH_NOT_FOUND)
        Refuse(("Registry key " + QBase::WideCharToUTF8(iPath)).c_str(), status);
    return status == ERROR_SUCCESS;
}

bool Key::HasUnnamedValue() const
{
    const LSTATUS status = ::RegQueryValueExW(HandleOf(mHandle), nullptr, nullptr, nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
        Refuse("Registry value", status);
    return status == ERROR_SUCCESS;
}

QBase::wstring Key::ReadText(const QBase::WCHAR* iName, const QBase::WCHAR* iDefault) const
{
    // Another process may change the value between two calls: the size is asked for until it fits.
    QBase::wstring text(64, QORJOB_W('\0'));
    for (;;)
    {
        auto bytes = static_cast<DWORD>(text.size() * sizeof(QBase::WCHAR));
        const LSTATUS status =
            ::RegGetValueW(HandleOf(mHandle), nullptr, iName, RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
        if (status == ERROR_FILE_NOT_FOUND)
            return iDefault;
        if (status == ERROR_SUCCESS)
        {
            text.resize(std::char_traits<QBase::WCHAR>::length(text.c_str()));
            return text;
        }
        if (status != ERROR_MORE_DATA)
            Refuse("Registry value", status);
        text.resize(bytes / sizeof(QBase::WCHAR) + 1);
    }
}

} // namespace QRegistry
