// The COM support library: the base of COM classes, the wrapper that makes objects of them, and the query for an
// interface.
#pragma once

#include "platform/LogReference.h"
#include "platform/QBase.h"
#include "platform/QSynch.h"
#include "platform/ThreadSafety.h"
#include "platform/Windows.h"

#include <memory>
#include <new>

/// Threading model of an object that any thread may call: its references are counted atomically.
struct CComMultiThreadModel
{
    using Counter = QSynch::AtomicLong;
};

/// The base of every COM class: a reference count and one re-entrant lock. Not an interface: a class derives from it
/// first, and from its interface second.
///
/// Threads: any.
/// Owns:    its lock. The count only counts; CComObject deletes the object.
/// Errors:  the constructor throws std::bad_alloc when the lock can't be made.
/// Locks:   mpLock, held through SmartLock; Lock and Unlock are for a hold that no scope fits.
template <class ThreadModel>
class CComObjectRootEx
{
public:
    CComObjectRootEx(const CComObjectRootEx&) = delete;
    CComObjectRootEx& operator=(const CComObjectRootEx&) = delete;

    void Lock() QORJOB_ACQUIRE(mpLock) { mpLock->Enter(); }
    void Unlock() QORJOB_RELEASE(mpLock) { mpLock->Leave(); }

    /// Both give the new count.
    DWORD InternalAddRef() { return static_cast<DWORD>(mReferences.Increment()); }
    DWORD InternalRelease() { return static_cast<DWORD>(mReferences.Decrement()); }

    /// The last step of construction, when the object can already be handed to others. A class that has such a step
    /// hides this with its own.
    HRESULT FinalConstruct() { return S_OK; }

    /// The inner object that is asked for interfaces that the class itself doesn't have. A class whose FinalConstruct
    /// makes one hides this with its own.
    IUnknown* GetAggregated() { return nullptr; }

protected:
    using SmartLock = QSynch::CriticalSection::SmartLock;

    explicit CComObjectRootEx(int iLockCategory) : mpLock(QSynch::MakeCriticalSection(iLockCategory)) {}
    virtual ~CComObjectRootEx() = default;

    const QSynch::CriticalSectionPtr mpLock;

private:
    typename ThreadModel::Counter mReferences;
};

/// Asks an object for an interface; empty when the object is null or doesn't have it.
template <class Interface>
QBase::PtrI<Interface> QueryFor(IUnknown* iObject, const GUID& iInterfaceId)
{
    void* found = nullptr;
    if (iObject == nullptr || FAILED(iObject->QueryInterface(iInterfaceId, &found)))
        return {};
    return QBase::PtrI<Interface>::Adopt(static_cast<Interface*>(found));
}

/// Makes the objects of a COM class and supplies QueryInterface, AddRef and Release, which the class leaves open.
/// `Class` names its one custom interface as `Interface`, that interface's id as `GetInterfaceId()` and the kind of its
/// references for the stack library as `cReferenceKind`; it may have a FinalConstruct and a GetAggregated of its own.
template <class Class>
class CComObject final : public Class
{
public:
    /// Makes an object and gives the caller its first reference. When its FinalConstruct fails the object is deleted
    /// and that code is the result; E_OUTOFMEMORY when there is no memory for it or its lock.
    static HRESULT CreateInstance(QBase::PtrI<Class>& oObject)
    {
        oObject = {};
        try
        {
            std::unique_ptr<CComObject> object(new CComObject);
            // Others may take and release references during FinalConstruct: this one keeps the object alive.
            object->InternalAddRef();
            const HRESULT code = object->FinalConstruct();
            if (FAILED(code))
                return code;
            oObject = QBase::PtrI<Class>(object.get());
            object.release()->InternalRelease();
            return S_OK;
        }
        catch (const std::bad_alloc&)
        {
            return E_OUTOFMEMORY;
        }
    }

    HRESULT QORJOB_STDCALL QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        if (oInterface == nullptr)
            return E_POINTER;
        *oInterface = nullptr;
        if (iInterfaceId == IID_IUnknown || iInterfaceId == Class::GetInterfaceId())
        {
            *oInterface = static_cast<typename Class::Interface*>(this);
            AddRef();
            return S_OK;
        }
        IUnknown* const aggregated = this->GetAggregated();
        return aggregated == nullptr ? E_NOINTERFACE : aggregated->QueryInterface(iInterfaceId, oInterface);
    }

    DWORD QORJOB_STDCALL AddRef() override
    {
        LogReference(this, 1, Class::cReferenceKind);
        return this->InternalAddRef();
    }

    DWORD QORJOB_STDCALL Release() override
    {
        LogReference(this, 0, Class::cReferenceKind);
        const DWORD left = this->InternalRelease();
        if (left == 0)
            delete this;
        return left;
    }

    // The objects come from the general heap, like everything that modules hand to one another.
    static void* operator new(std::size_t iBytes)
    {
        void* const memory = QBase::HeapAllocate(iBytes);
        if (memory == nullptr)
            throw std::bad_alloc();
        return memory;
    }
    static void operator delete(void* iMemory) noexcept { QBase::HeapFree(iMemory); }

private:
    friend std::default_delete<CComObject>;

    CComObject() = default;
    ~CComObject() override = default;
};
