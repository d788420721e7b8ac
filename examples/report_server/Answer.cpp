#include "Answer.h"

#include "JobCalls.h"
#include "Mailboxes.h"
#include "Message.h"

#include <string_view>

namespace
{

/// "An exception was thrown in %1 for job %2: %3", in the catalogue of the kernel.
constexpr auto cJobException = static_cast<HRESULT>(0x8004308E);

/// "The job was cancelled."
constexpr auto cJobCancelled = static_cast<HRESULT>(0x80043014);

/// "The request was accepted."
constexpr HRESULT cAccepted = 0x00040002;

QBase::PtrI<CKDXServerMessage> ToServerMessage(ICKDXWriteMessage* iMessage)
{
    auto answer = QueryFor<CKDXServerMessage>(iMessage, IID_CKDXServerMessage);
    if (!answer)
        throw JobCallError("there is no message that can be sent");
    return answer;
}

/// The context makes it from the request's message at the first call; so it goes to whoever sent that.
QBase::PtrI<CKDXServerMessage> AnswerOf(ICKDXProcessContext& ioContext)
{
    ICKDXWriteMessage* made = nullptr;
    Expect(ioContext.get_OutMessage(&made), "get_OutMessage");
    const auto message = QBase::PtrI<ICKDXWriteMessage>::Adopt(made);
    return ToServerMessage(message.Get());
}

/// The code and the arguments travel; the client makes the text of them, in its own language.
template <class... Arguments>
void PackCode(ICKDXProcessContext& ioContext, HRESULT iCode, const Arguments&... iArguments)
{
    const QBase::PtrI<CKDXServerMessage> answer = AnswerOf(ioContext);
    Expect(answer->Reset(), "Reset");
    {
        QORMessagePacker packer(answer.Get(), QORJOB_W("Kernel"), static_cast<unsigned>(iCode));
        static_cast<void>((packer << ... << iArguments));
    }
    Expect(answer->SetResult(iCode), "SetResult");
}

} // namespace

void PackResult(ICKDXProcessContext& ioContext, const std::string& iText)
{
    PackField(AnswerOf(ioContext).Get(), FieldResult, iText);
}

void ForgetAnswer(ICKDXProcessContext& ioContext) { Expect(AnswerOf(ioContext)->Reset(), "Reset"); }

void PackError(ICKDXProcessContext& ioContext, int iJobId, const std::string& iWhere, const std::string& iReason)
{
    PackCode(ioContext, cJobException, std::string_view(iWhere), iJobId, std::string_view(iReason));
}

void PackCancelled(ICKDXProcessContext& ioContext) { PackCode(ioContext, cJobCancelled); }

void SendAnswer(ICKDXProcessContext& ioContext, QORChannel& ioClient)
{
    Expect(AnswerOf(ioContext)->Send(&ioClient), "Send");
}

void DeliverAnswer(ICKDXProcessContext& ioContext)
{
    IUnknown* found = nullptr;
    Expect(ioContext.get_ContextObjectN(&found), "get_ContextObjectN");
    const auto object = QBase::PtrI<IUnknown>::Adopt(found);
    const auto delivery = QueryFor<IDelivery>(object.Get(), IID_IDelivery);
    if (!delivery)
        throw JobCallError("the context has no delivery object");
    Expect(delivery->Deliver(AnswerOf(ioContext).Get()), "Deliver");
}

void SendAccepted(ICKDXReadMessage* iRequest, QORChannel& ioClient)
{
    ICKDXWriteMessage* made = nullptr;
    Expect(QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(iRequest, false, &made), "NewWriteMessageNotGoverned");
    const auto message = QBase::PtrI<ICKDXWriteMessage>::Adopt(made);
    {
        const QORMessagePacker accepted(made, QORJOB_W("Kernel"),
                                        static_cast<unsigned>(cAccepted)); // writes it as it goes
    }
    Expect(ToServerMessage(made)->Send(&ioClient), "Send");
}
