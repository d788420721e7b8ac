// What the rows of the process context are made of. A helper's name tells the lock; null rules are P (E_POINTER) unless
// a row names another code. Private to context/.
#pragma once

#include "context/CKDXProcessContext.h"

#include <new>

inline constexpr HRESULT cMessageExceptionMet = static_cast<HRESULT>(0x8004308B);
inline constexpr HRESULT cOtherExceptionMet = static_cast<HRESULT>(0x8004308C);

/// Frees a text that a collaborator gave.
struct BstrDeleter
{
    void operator()(WCHAR* iText) const { SysFreeString(iText); }
};

/// Runs the body of an operation and keeps its exceptions inside.
template <class Body>
HRESULT CKDXProcessContext::Boundary(Body&& iBody)
{
    try
    {
        return iBody();
    }
    catch (const QBase::Message&)
    {
        return cMessageExceptionMet;
    }
    catch (...)
    {
        return cOtherExceptionMet;
    }
}

template <class T>
HRESULT CKDXProcessContext::GetLocked(const T& iField, T* oValue, HRESULT iNullCode)
{
    if (oValue == nullptr)
        return iNullCode;
    SmartLock lock(mpLock);
    *oValue = iField;
    return S_OK;
}

template <class T>
HRESULT CKDXProcessContext::GetUnlocked(const T& iField, T* oValue, HRESULT iNullCode)
{
    if (oValue == nullptr)
        return iNullCode;
    *oValue = iField;
    return S_OK;
}

template <class T>
HRESULT CKDXProcessContext::PutLocked(T& oField, T iValue)
{
    SmartLock lock(mpLock);
    oField = iValue;
    return S_OK;
}

template <class T>
HRESULT CKDXProcessContext::PutUnlocked(T& oField, T iValue)
{
    oField = iValue;
    return S_OK;
}

/// Adds a reference for the caller; null when there is no object.
template <class T>
HRESULT CKDXProcessContext::GetObjectLocked(const QBase::PtrI<T>& iField, T** oObject, HRESULT iNullCode)
{
    if (oObject == nullptr)
        return iNullCode;
    *oObject = nullptr;
    return Boundary([&] {
        SmartLock lock(mpLock);
        *oObject = QBase::PtrI<T>(iField).Detach();
        return S_OK;
    });
}

/// Takes a reference (null clears); the old object is released after the lock, and not at all when it stays.
template <class T>
HRESULT CKDXProcessContext::PutObjectLocked(QBase::PtrI<T>& oField, T* iObject)
{
    return Boundary([&] {
        QBase::PtrI<T> object(iObject);
        {
            SmartLock lock(mpLock);
            std::swap(oField, object);
        }
        if (object)
            object.Detach()->Release(); // by name, not by the destructor: what it throws ends in the boundary
        return S_OK;
    });
}

/// Does nothing at all when the object is held already.
template <class T>
HRESULT CKDXProcessContext::PutOtherObjectLocked(QBase::PtrI<T>& oField, T* iObject)
{
    {
        SmartLock lock(mpLock);
        if (oField.Get() == iObject)
            return S_OK;
    }
    return PutObjectLocked(oField, iObject);
}

template <class T>
HRESULT CKDXProcessContext::PutObjectNotNullLocked(QBase::PtrI<T>& oField, T* iObject)
{
    return iObject == nullptr ? E_POINTER : PutObjectLocked(oField, iObject);
}
