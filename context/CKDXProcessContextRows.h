// The helpers of the process context's rows, private to context/. A helper's name says whether it takes the lock; a
// null out-pointer gives E_POINTER unless the row names another code.
#pragma once

#include "base/ExceptionBoundary.h"
#include "context/CKDXProcessContext.h"

template <class T>
HRESULT CKDXProcessContext::GetLocked(const T& iField, T* oValue, HRESULT iNullCode)
{
    if (oValue == nullptr)
        return iNullCode;
    SmartLock lock(mpLock.get());
    *oValue = iField;
    return S_OK;
}

template <class T>
HRESULT CKDXProcessContext::GetUnlocked(const Unlocked<T>& iField, T* oValue, HRESULT iNullCode)
{
    if (oValue == nullptr)
        return iNullCode;
    *oValue = iField;
    return S_OK;
}

template <class Field, class T>
HRESULT CKDXProcessContext::PutLocked(Field& oField, const T& iValue)
{
    SmartLock lock(mpLock.get());
    oField = iValue;
    return S_OK;
}

template <class T>
HRESULT CKDXProcessContext::PutUnlocked(Unlocked<T>& oField, const T& iValue)
{
    oField = iValue;
    return S_OK;
}

/// Releases the objects that an operation has replaced, all of them even if one throws. Returns the first error.
template <class... T>
HRESULT CKDXProcessContext::ReleaseAll(QBase::PtrI<T>&... ioObjects)
{
    HRESULT result = S_OK;
    const auto release = [&](auto& ioObject) {
        const HRESULT code = Boundary([&] {
            if (ioObject)
                ioObject.Detach()->Release();
            return S_OK;
        });
        if (result == S_OK)
            result = code;
    };
    (release(ioObjects), ...);
    return result;
}

/// A new reference, to call the object without the lock.
template <class T>
QBase::PtrI<T> CKDXProcessContext::CopyLocked(const QBase::PtrI<T>& iField)
{
    SmartLock lock(mpLock.get());
    return iField;
}

/// Adds a reference for the caller; null when there is no object.
template <class T>
HRESULT CKDXProcessContext::GetObjectLocked(const QBase::PtrI<T>& iField, T** oObject, HRESULT iNullCode)
{
    if (oObject == nullptr)
        return iNullCode;
    *oObject = nullptr;
    return Boundary([&] {
        *oObject = CopyLocked(iField).Detach();
        return S_OK;
    });
}

/// Stores a reference (null clears) and returns the old object, to be released after the lock.
template <class T>
QBase::PtrI<T> CKDXProcessContext::ExchangeLocked(QBase::PtrI<T>& ioField, T* iObject)
{
    QBase::PtrI<T> object(iObject);
    SmartLock lock(mpLock.get());
    std::swap(ioField, object);
    return object;
}

template <class T>
HRESULT CKDXProcessContext::PutObjectLocked(QBase::PtrI<T>& oField, T* iObject)
{
    return Boundary([&] {
        QBase::PtrI<T> old = ExchangeLocked(oField, iObject);
        return ReleaseAll(old);
    });
}

/// Does nothing if the field already holds the object.
template <class T>
HRESULT CKDXProcessContext::PutOtherObjectLocked(QBase::PtrI<T>& oField, T* iObject)
{
    {
        SmartLock lock(mpLock.get());
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
