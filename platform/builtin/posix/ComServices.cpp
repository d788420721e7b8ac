#include "platform/QBase.h"
#include "platform/QRegistry.h"
#include "platform/Windows.h"
#include "platform/builtin/base/Guarded.h"

#include <cstring>
#include <string>

void* CoTaskMemAlloc(std::size_t iBytes) { return QBase::HeapAllocate(iBytes); }

void CoTaskMemFree(void* iMemory) { QBase::HeapFree(iMemory); }

HRESULT ProgIDFromCLSID(const GUID& iClassId, QBase::WCHAR** oProgId)
{
    if (oProgId == nullptr)
        return E_INVALIDARG;
    *oProgId = nullptr;
    return Builtin::Guarded([&] {
        const std::string path = "CLSID\\" + QBase::ToString(iClassId) + "\\ProgID";
        QBase::wstring name;
        try
        {
            const auto key =
                QRegistry::OpenKeyFromRoot(QRegistry::RootHives::ClassesRoot, QBase::UTF8ToWideChar(path).c_str());
            if (!key.HasUnnamedValue())
                return REGDB_E_CLASSNOTREG;
            name = key.ReadText(nullptr, QORJOB_W(""));
        }
        catch (const QRegistry::KeyException&)
        {
            return REGDB_E_CLASSNOTREG;
        }
        const std::size_t bytes = (name.size() + 1) * sizeof(QBase::WCHAR);
        *oProgId = static_cast<QBase::WCHAR*>(CoTaskMemAlloc(bytes));
        if (*oProgId == nullptr)
            return E_OUTOFMEMORY;
        std::memcpy(*oProgId, name.c_str(), bytes);
        return S_OK;
    });
}
