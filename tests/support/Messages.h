// Helpers that fill messages and read them.
#pragma once

#include "platform/QLogRouter.h"
#include "platform/QMessage.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

/// What a getter hands out; its reference is the result's.
template <class Object, class Base, class T>
QBase::PtrI<T> Given(const QBase::PtrI<Object>& iObject, HRESULT (QORJOB_STDCALL Base::*iGet)(T**))
{
    T* given = nullptr;
    EXPECT_EQ((iObject.Get()->*iGet)(&given), S_OK);
    return QBase::PtrI<T>::Adopt(given);
}

/// Packs an entry without arguments.
inline void Pack(ICKDXWriteMessage* iMessage, unsigned iCode, const QBase::WCHAR* iSource = QORJOB_W("Kernel"))
{
    const QORMessagePacker packer(iMessage, iSource, iCode);
}

inline QBase::PtrI<ICKDXReadMessage> ToRead(ICKDXWriteMessage* iMessage)
{
    ICKDXReadMessage* read = nullptr;
    EXPECT_EQ(QMessage::CKDXWriteMessage::ToReadMessage(iMessage, &read), S_OK);
    return QBase::PtrI<ICKDXReadMessage>::Adopt(read);
}

using Codes = std::vector<unsigned>;

/// The codes of the entries that a message, read or written, holds.
template <class Message>
Codes CodesIn(const QBase::PtrI<Message>& iMessage)
{
    const auto stream = Given(iMessage, &Message::get_BlockStream);
    Codes codes;
    std::unique_ptr<QORMessageUnpacker> entry;
    do
    {
        if (QORMessageUnpacker::Create(stream.Get(), QORMessageUnpacker::cNoLanguage, entry) != S_OK)
            return {~0u};
        if (!entry->IsMessageEmpty())
            codes.push_back(entry->GetMessageId());
    } while (!entry->IsLastMessageInStream());
    return codes;
}
