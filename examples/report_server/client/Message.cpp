#include "client/Message.h"

#include "Errors.h"
#include "Text.h"
#include "tasks/JobMaker.h"

#include <map>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace
{

/// "An exception was thrown in %1 for job %2: %3", in the catalogue of the kernel.
constexpr auto cJobException = static_cast<HRESULT>(0x8004308E);

/// "The request was accepted."
constexpr HRESULT cAccepted = 0x00040002;

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

/// The catalogue has no text for a field, so that the source, which is no bundle's name, is its text: the value.
void PackField(ICKDXWriteMessage* ioMessage, EnumField iField, std::string_view iText)
{
    QORMessagePacker(ioMessage, QORJOB_W("%1"), iField) << iText;
}

/// What the entries say to a reader: fields' values, and the texts that the catalogue has for codes.
std::vector<std::pair<unsigned, std::string>> UnpackEntries(ICKDXReadMessage& iMessage, unsigned iLocale)
{
    QBase::PtrI<ICKDXReadBlockStream> stream;
    Expect(iMessage.get_BlockStream(stream.Receive()), "get_BlockStream");
    std::vector<std::pair<unsigned, std::string>> entries;
    std::unique_ptr<QORMessageUnpacker> unpacker;
    do
    {
        Expect(QORMessageUnpacker::Create(stream.Get(), iLocale, unpacker), "QORMessageUnpacker::Create");
        if (!unpacker->IsMessageEmpty())
            entries.emplace_back(unpacker->GetMessageId(), unpacker->Build());
    } while (!unpacker->IsLastMessageInStream());
    return entries;
}

int ToNumber(const std::string& iText)
{
    int number = 0;
    if (!ParseNumber(iText, number))
        throw RequestError("\"" + iText + "\" is no number");
    return number;
}

QBase::PtrI<CKDXServerMessage> ToServerMessage(ICKDXWriteMessage* iMessage)
{
    auto answer = QueryFor<CKDXServerMessage>(iMessage, IID_CKDXServerMessage);
    if (!answer)
        throw std::runtime_error("there is no message that can be sent");
    return answer;
}

/// The context makes it from the request's message at the first call; so it goes to whoever sent that.
QBase::PtrI<CKDXServerMessage> AnswerOf(ICKDXProcessContext& ioContext)
{
    QBase::PtrI<ICKDXWriteMessage> message;
    Expect(ioContext.get_OutMessage(message.Receive()), "get_OutMessage");
    return ToServerMessage(message.Get());
}

} // namespace

QBase::PtrI<ICKDXReadMessage> PackRequest(const Request& iRequest)
{
    const QBase::PtrI<CKDXServerMessage> message = QMessage::NewServerMessage();
    if (!message)
        throw std::bad_alloc();
    PackField(message.Get(), FieldLine, std::to_string(iRequest.mLine));
    PackField(message.Get(), FieldKind, KindOf(iRequest));
    PackField(message.Get(), FieldUser, iRequest.mUser);
    PackField(message.Get(), FieldLocale, std::to_string(iRequest.mLocale));
    PackField(message.Get(), FieldProject, iRequest.mProject);
    PackField(message.Get(), FieldPriority, std::to_string(iRequest.mPriority));
    PackField(message.Get(), FieldBody, iRequest.mBody);
    if (!iRequest.mDestination.empty())
        PackField(message.Get(), FieldDestination, iRequest.mDestination);
    QBase::PtrI<ICKDXReadMessage> packed;
    Expect(QMessage::CKDXWriteMessage::ToReadMessage(message.Get(), packed.Receive()), "ToReadMessage");
    return packed;
}

Request UnpackRequest(ICKDXReadMessage& iMessage)
{
    std::map<unsigned, std::string> fields;
    for (auto& [code, text] : UnpackEntries(iMessage, cEnglish))
    {
        if (code < FieldLine || code > FieldDestination)
            throw RequestError("no field of a request: " + text);
        fields[code] = std::move(text);
    }
    return {ToNumber(fields[FieldLine]), ParseKind(fields[FieldKind]),
            fields[FieldUser],           static_cast<unsigned>(ToNumber(fields[FieldLocale])),
            fields[FieldProject],        ToNumber(fields[FieldPriority]),
            fields[FieldBody],           fields[FieldDestination]};
}

std::string ReadAnswer(ICKDXReadMessage& iAnswer, unsigned iLocale, const char* iMark)
{
    const char* const mark = IsError(iAnswer) ? iMark : "";
    std::string answer;
    for (const auto& [entry, text] : UnpackEntries(iAnswer, iLocale))
        answer += entry == FieldResult ? text : mark + text + "\n";
    return answer;
}

bool IsError(ICKDXReadMessage& iAnswer)
{
    HRESULT code = S_OK;
    Expect(iAnswer.get_ErrorCode(&code), "get_ErrorCode");
    return FAILED(code);
}

void PackResult(ICKDXProcessContext& ioContext, const std::string& iText)
{
    PackField(AnswerOf(ioContext).Get(), FieldResult, iText);
}

/// The code and the arguments travel; the client makes the text of them, in its own language.
void PackError(ICKDXProcessContext& ioContext, int iJobId, const std::string& iReason)
{
    const QBase::PtrI<CKDXServerMessage> answer = AnswerOf(ioContext);
    Expect(answer->Reset(), "Reset");
    QORMessagePacker(answer.Get(), QORJOB_W("Kernel"), static_cast<unsigned>(cJobException))
        << std::string_view("the kernel") << iJobId << std::string_view(iReason);
    Expect(answer->SetResult(cJobException), "SetResult");
}

void SendAnswer(ICKDXProcessContext& ioContext, QORChannel& ioClient)
{
    const QBase::PtrI<CKDXServerMessage> answer = AnswerOf(ioContext);
    if (const QBase::PtrI<IDelivery> delivery = DeliveryOf(ioContext))
        Expect(delivery->Deliver(answer.Get()), "Deliver");
    else
        Expect(answer->Send(&ioClient), "Send");
}

void SendAccepted(ICKDXReadMessage* iRequest, QORChannel& ioClient)
{
    QBase::PtrI<ICKDXWriteMessage> message;
    Expect(QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(iRequest, false, message.Receive()),
           "NewWriteMessageNotGoverned");
    {
        const QORMessagePacker accepted(message.Get(), QORJOB_W("Kernel"),
                                        static_cast<unsigned>(cAccepted)); // writes it as it goes
    }
    Expect(ToServerMessage(message.Get())->Send(&ioClient), "Send");
}
