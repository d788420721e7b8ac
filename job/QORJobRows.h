// What the operations of QORJob are made of: the exception boundary, and the rows of plain accessors. For bodies only.
#pragma once

#include "base/ExceptionBoundary.h"
#include "job/QORJob.h"

#include <type_traits>

/// Runs the body of an operation and keeps its exceptions inside.
template <class Body>
HRESULT QORJob::Boundary(const char* iOperation, Body&& iBody) const
{
    return ::Boundary(iOperation, mId, iBody);
}

/// Null rule E_POINTER; locked copy.
template <class T>
HRESULT QORJob::Get(const char* iOperation, const T& iField, T* oValue) const
{
    if (oValue == nullptr)
        return E_POINTER;
    return Boundary(iOperation, [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        *oValue = iField;
        return S_OK;
    });
}

/// Null rule E_POINTER; no lock.
template <class T>
HRESULT QORJob::GetUnlocked(const T& iField, T* oValue) const
{
    if (oValue == nullptr)
        return E_POINTER;
    *oValue = iField;
    return S_OK;
}

/// Locked copy as the result.
template <class T>
T QORJob::GetValue(const T& iField) const
{
    QSynch::CriticalSection::SmartLock lock(mpLock);
    return iField;
}

/// Locked store; the old value goes out, when asked for, after the lock is dropped.
template <class T>
HRESULT QORJob::Set(const char* iOperation, T& oField, T iValue, T* oOld)
{
    return Boundary(iOperation, [&] {
        {
            QSynch::CriticalSection::SmartLock lock(mpLock);
            std::swap(oField, iValue);
        }
        if (oOld != nullptr)
            *oOld = iValue;
        return S_OK;
    });
}
