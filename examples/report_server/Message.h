// The messages between client and server: one entry a field.
#pragma once

#include "Request.h"
#include "qorjob.h"

#include <string>
#include <string_view>
#include <vector>

/// The codes of fields. Their bit 29 keeps them apart from the kernel's codes, which have texts in the catalogue.
enum EnumField : unsigned
{
    FieldLine = 0x20000001,
    FieldKind,
    FieldUser,
    FieldLocale,
    FieldProject,
    FieldPriority,
    FieldBody,
    FieldDestination, ///< only where there is one
    FieldResult,      ///< of an answer
};

void PackField(ICKDXWriteMessage* ioMessage, EnumField iField, std::string_view iText);

/// What an entry says to a reader: a field's value, or the text that the catalogue has for the code.
struct Entry
{
    unsigned mCode = 0;
    std::string mText;
};

/// All entries in the language of the locale. Throws JobCallError for a message that is damaged.
std::vector<Entry> UnpackEntries(ICKDXReadMessage& iMessage, unsigned iLocale);

/// An answer in the language of the locale; its errors are marked. Throws JobCallError.
std::string ReadAnswer(ICKDXReadMessage& iAnswer, unsigned iLocale);

/// Throws JobCallError.
QBase::PtrI<ICKDXReadMessage> PackRequest(const Request& iRequest);
/// Throws RequestError for a message that is no request, JobCallError for one that is damaged.
Request UnpackRequest(ICKDXReadMessage& iMessage);
