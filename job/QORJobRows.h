// What the operations of QORJob are made of: the exception boundary, and the rows of plain accessors. For bodies only.
#pragma once

#include "base/ExceptionBoundary.h"
#include "job/QORJob.h"

#include <utility>

/// Runs the body of an operation and keeps its exceptions inside; they are logged with the operation's name. That is
/// the calling function's by default: lambdas and templates, whose name is another, pass it on.
template <class Body>
HRESULT QORJob::Boundary(Body&& iBody, const char* iOperation) const
{
    return ::Boundary(mId, iBody, iOperation);
}

/// Null rule E_POINTER; locked copy of what `iRead` gives, which is called under the lock.
template <class T, class Read>
HRESULT QORJob::GetBy(Read iRead, T* oValue, const char* iOperation) const
{
    if (oValue == nullptr)
        return E_POINTER;
    const auto copy = [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        *oValue = iRead();
        return S_OK;
    };
    return Boundary(copy, iOperation);
}

/// Null rule E_POINTER; locked copy.
template <class T>
HRESULT QORJob::Get(const T& iField, T* oValue, const char* iOperation) const
{
    return GetBy([&]() -> const T& { return iField; }, oValue, iOperation);
}

/// The same of a part that the job may not have.
template <class Part, class T>
HRESULT QORJob::Get(const OnDemand<Part>& iPart, T Part::*iField, T* oValue, const char* iOperation) const
{
    return GetBy([&]() -> const T& { return iPart.Read().*iField; }, oValue, iOperation);
}

/// Null rule E_POINTER; no lock.
template <class T>
HRESULT QORJob::GetUnlocked(const Unlocked<T>& iField, T* oValue) const
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
    QSynch::CriticalSection::SmartLock lock(mpLock.get());
    return iField;
}

/// Locked store; the old value goes out, when asked for, after the lock is dropped.
template <class T>
HRESULT QORJob::Set(T& oField, T iValue, T* oOld, const char* iOperation)
{
    const auto store = [&] {
        {
            QSynch::CriticalSection::SmartLock lock(mpLock.get());
            std::swap(oField, iValue);
        }
        if (oOld != nullptr)
            *oOld = iValue;
        return S_OK;
    };
    return Boundary(store, iOperation);
}

/// Locked store into a part that the job may not have had.
template <class Part, class T, class Value>
HRESULT QORJob::Set(OnDemand<Part>& ioPart, T Part::*iField, const Value& iValue, const char* iOperation)
{
    const auto store = [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        ioPart.Write(GetMemory()).*iField = iValue;
        return S_OK;
    };
    return Boundary(store, iOperation);
}

/// Null rule E_POINTER; a reference more, for the caller.
template <class T>
HRESULT QORJob::GetPointer(const QBase::PtrI<T>& iField, T** oObject, const char* iOperation) const
{
    if (oObject == nullptr)
        return E_POINTER;
    const auto copy = [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        *oObject = QBase::PtrI<T>(iField).Detach();
        return S_OK;
    };
    return Boundary(copy, iOperation);
}
