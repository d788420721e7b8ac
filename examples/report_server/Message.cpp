#include "Message.h"

#include "Errors.h"
#include "JobCalls.h"
#include "Text.h"

#include <memory>

namespace
{

int ToNumber(const std::string& iText)
{
    int number = 0;
    if (!ParseInt(iText, number))
        throw RequestError("\"" + iText + "\" is no number");
    return number;
}

void ReadField(const Entry& iEntry, Request& ioRequest)
{
    switch (iEntry.mCode)
    {
    case FieldLine:
        ioRequest.mLine = ToNumber(iEntry.mText);
        break;
    case FieldKind:
        ioRequest.mKind = ParseKind(iEntry.mText);
        break;
    case FieldUser:
        ioRequest.mUser = iEntry.mText;
        break;
    case FieldLocale:
        ioRequest.mLocale = static_cast<unsigned>(ToNumber(iEntry.mText));
        break;
    case FieldProject:
        ioRequest.mProject = iEntry.mText;
        break;
    case FieldPriority:
        ioRequest.mPriority = ToNumber(iEntry.mText);
        break;
    case FieldBody:
        ioRequest.mBody = iEntry.mText;
        break;
    case FieldDestination:
        ioRequest.mDestination = iEntry.mText;
        break;
    default:
        throw RequestError("no field of a request: " + iEntry.mText);
    }
}

} // namespace

/// The catalogue has no text for a field, so that the source, which is no bundle's name, is its text: the value.
void PackField(ICKDXWriteMessage* ioMessage, EnumField iField, std::string_view iText)
{
    QORMessagePacker(ioMessage, QORJOB_W("%1"), iField) << iText;
}

std::vector<Entry> UnpackEntries(ICKDXReadMessage& iMessage, unsigned iLocale)
{
    ICKDXReadBlockStream* opened = nullptr;
    Expect(iMessage.get_BlockStream(&opened), "get_BlockStream");
    const auto stream = QBase::PtrI<ICKDXReadBlockStream>::Adopt(opened);
    std::vector<Entry> entries;
    std::unique_ptr<QORMessageUnpacker> unpacker;
    do
    {
        Expect(QORMessageUnpacker::Create(stream.Get(), iLocale, unpacker), "QORMessageUnpacker::Create");
        if (!unpacker->IsMessageEmpty())
            entries.push_back({unpacker->GetMessageId(), unpacker->Build()});
    } while (!unpacker->IsLastMessageInStream());
    return entries;
}

std::string ReadAnswer(ICKDXReadMessage& iAnswer, unsigned iLocale)
{
    HRESULT code = S_OK;
    Expect(iAnswer.get_ErrorCode(&code), "get_ErrorCode");
    std::string text;
    for (const Entry& entry : UnpackEntries(iAnswer, iLocale))
        text += entry.mCode == FieldResult ? entry.mText : (FAILED(code) ? "error: " : "") + entry.mText + "\n";
    return text;
}

QBase::PtrI<ICKDXReadMessage> PackRequest(const Request& iRequest)
{
    const QBase::PtrI<CKDXServerMessage> message = QMessage::NewServerMessage();
    if (!message)
        throw JobCallError("no memory for a message");
    PackField(message.Get(), FieldLine, std::to_string(iRequest.mLine));
    PackField(message.Get(), FieldKind, ToText(iRequest.mKind));
    PackField(message.Get(), FieldUser, iRequest.mUser);
    PackField(message.Get(), FieldLocale, std::to_string(iRequest.mLocale));
    PackField(message.Get(), FieldProject, iRequest.mProject);
    PackField(message.Get(), FieldPriority, std::to_string(iRequest.mPriority));
    PackField(message.Get(), FieldBody, iRequest.mBody);
    if (!iRequest.mDestination.empty())
        PackField(message.Get(), FieldDestination, iRequest.mDestination);
    ICKDXReadMessage* packed = nullptr;
    Expect(QMessage::CKDXWriteMessage::ToReadMessage(message.Get(), &packed), "ToReadMessage");
    return QBase::PtrI<ICKDXReadMessage>::Adopt(packed);
}

Request UnpackRequest(ICKDXReadMessage& iMessage)
{
    Request request;
    for (const Entry& entry : UnpackEntries(iMessage, request.mLocale))
        ReadField(entry, request);
    return request;
}
