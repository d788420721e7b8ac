// What the records of steps and of processing-unit visits are made of: their accessors, and their little-endian binary
// form.
#pragma once

#include "platform/QDataType.h"
#include "platform/Windows.h"

#include <cstring>

/// The body of a getter: null rule E_POINTER, else a copy.
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

class RecordWriter
{
public:
    explicit RecordWriter(signed char* oBuffer) : mpNext(oBuffer) {}

    void Put(const QDataType::DateTime& iTime)
    {
        const unsigned size = QDataType::DateTime::GetSaveObjSize();
        iTime.SaveObj(size, mpNext, 0);
        mpNext += size;
    }

    void Put(DWORD iValue)
    {
        for (int shift = 0; shift < 32; shift += 8)
            *mpNext++ = static_cast<signed char>(iValue >> shift);
    }

    void Put(int iValue) { Put(static_cast<DWORD>(iValue)); }

    void Put(QBase::WCHAR iUnit)
    {
        *mpNext++ = static_cast<signed char>(iUnit);
        *mpNext++ = static_cast<signed char>(iUnit >> 8);
    }

private:
    signed char* mpNext;
};

class RecordReader
{
public:
    explicit RecordReader(const signed char* iBuffer) : mpNext(iBuffer) {}

    void Get(QDataType::DateTime& oTime)
    {
        const unsigned size = QDataType::DateTime::GetSaveObjSize();
        oTime.LoadObj(size, mpNext, true);
        mpNext += size;
    }

    void Get(DWORD& oValue)
    {
        oValue = 0;
        for (int shift = 0; shift < 32; shift += 8)
            oValue |= DWORD{static_cast<unsigned char>(*mpNext++)} << shift;
    }

    void Get(int& oValue)
    {
        DWORD value = 0;
        Get(value);
        oValue = static_cast<int>(value);
    }

    void Get(QBase::WCHAR& oUnit)
    {
        const unsigned low = static_cast<unsigned char>(*mpNext++);
        const unsigned high = static_cast<unsigned char>(*mpNext++);
        oUnit = static_cast<QBase::WCHAR>(low | (high << 8));
    }

private:
    const signed char* mpNext;
};
