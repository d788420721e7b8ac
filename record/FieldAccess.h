// The bodies of the records' plain accessors.
#pragma once

#include "platform/Windows.h"

namespace QORJOB
{

/// E_POINTER for null, else a copy.
template <class T>
HRESULT GetField(const T& iField, T* oValue)
{
    if (oValue == nullptr)
        return E_POINTER;
    *oValue = iField;
    return S_OK;
}

template <class T>
HRESULT SetField(T& oField, const T& iValue)
{
    oField = iValue;
    return S_OK;
}

} // namespace QORJOB
