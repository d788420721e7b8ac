// The little-endian binary form of the records of steps and of processing-unit visits.
#pragma once

#include "platform/QDataType.h"
#include "platform/Windows.h"

#include <cstddef>
#include <tuple>
#include <type_traits>

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

    template <class T, std::size_t cCount>
    void Put(const T (&iValues)[cCount])
    {
        for (const T& value : iValues)
            Put(value);
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

    template <class T, std::size_t cCount>
    void Get(T (&oValues)[cCount])
    {
        for (T& value : oValues)
            Get(value);
    }

private:
    const signed char* mpNext;
};

/// The bytes of one field in a record.
template <class T>
unsigned SavedSize()
{
    if constexpr (std::is_same_v<T, QDataType::DateTime>)
        return QDataType::DateTime::GetSaveObjSize();
    else
        return sizeof(T);
}

// The bodies of GetSaveObjSize, SaveObj and LoadObj. All three go by one list of the fields, in the record's order.

template <class Class, class... T>
DWORD GetRecordSize(const std::tuple<T Class::*...>&, unsigned* oSize)
{
    if (oSize == nullptr)
        return static_cast<DWORD>(E_POINTER);
    *oSize = (0u + ... + SavedSize<T>());
    return S_OK;
}

template <class Class, class... T>
DWORD SaveRecord(const Class& iObject, const std::tuple<T Class::*...>& iFields, unsigned iBufferSize,
                 signed char* oBuffer, unsigned* oSize)
{
    const DWORD code = GetRecordSize(iFields, oSize);
    if (code != S_OK)
        return code;
    if (*oSize > iBufferSize)
        return S_FALSE;
    if (oBuffer == nullptr)
        return static_cast<DWORD>(E_POINTER);
    RecordWriter record(oBuffer);
    std::apply([&](auto... iField) { (record.Put(iObject.*iField), ...); }, iFields);
    return S_OK;
}

template <class Class, class... T>
void LoadRecord(Class& oObject, const std::tuple<T Class::*...>& iFields, const signed char* iBuffer)
{
    RecordReader record(iBuffer);
    std::apply([&](auto... iField) { (record.Get(oObject.*iField), ...); }, iFields);
}
