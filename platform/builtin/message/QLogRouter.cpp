#include "platform/QLogRouter.h"

#include "platform/QLog.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/ThreadContextListener.h"
#include "platform/builtin/base/Guarded.h"
#include "platform/builtin/message/MessageBlocks.h"
#include "platform/builtin/text/Bundles.h"
#include "platform/builtin/text/Catalogue.h"

#include <utility>

namespace
{

/// The template of an entry: that of its source's bundle, else of any bundle, else the source itself when it is no
/// bundle's name. Null when there is none.
const char* TemplateOf(const std::string& iSource, unsigned iCode, unsigned iLanguageId)
{
    const char* const bundle = Builtin::Catalogue::FindBundle(iSource);
    const Builtin::Catalogue::Entry* entry = Builtin::Catalogue::Find(bundle, iCode, iLanguageId);
    if (entry == nullptr)
        entry = Builtin::Catalogue::Find(nullptr, iCode, iLanguageId);
    if (entry != nullptr)
        return entry->mpText;
    return bundle == nullptr && !iSource.empty() ? iSource.c_str() : nullptr;
}

} // namespace

QBase::ReturnPtrI<QResource::Bundle> QLogRouter::GetResourceBundle(unsigned iLocale)
{
    Builtin::EventTrace::Note("QLogRouter::GetResourceBundle", {iLocale});
    return Builtin::OpenBundle("Kernel", iLocale & 0xFFFF);
}

void QLogRouter::RefreshCurrentThreadContext()
{
    Builtin::EventTrace::Note("QLogRouter::RefreshCurrentThreadContext");
    Builtin::ThreadContextListener::Call();
}

QORMessagePacker::QORMessagePacker(ICKDXWriteMessage* iMessage, const QBase::WCHAR* iSource, unsigned iCode)
    : mMessage(iMessage), mSource(iSource == nullptr ? std::string() : QBase::WideCharToUTF8(iSource)), mCode(iCode)
{
    Builtin::EventTrace::Note("QORMessagePacker", {iCode});
}

QORMessagePacker::~QORMessagePacker()
{
    if (!mMessage)
        return;
    Builtin::Guarded([this] {
        Builtin::MessageBlocks::Bytes block;
        Builtin::MessageBlocks::AppendBlock(block, 0,
                                            Builtin::MessageBlocks::PackEntry(mCode, mSource, GetArguments()));
        return mMessage->AppendBlocks(block.data(), block.size());
    });
}

HRESULT QORMessageUnpacker::Create(ICKDXReadBlockStream* iStream, unsigned iLanguageId,
                                   std::unique_ptr<QORMessageUnpacker>& oUnpacker)
{
    Builtin::EventTrace::Note("QORMessageUnpacker::Create", {iLanguageId});
    oUnpacker.reset();
    if (iStream == nullptr)
        return E_POINTER;
    return Builtin::Guarded([&] {
        Builtin::MessageBlocks::Block block;
        if (const HRESULT code = Builtin::MessageBlocks::ReadBlock(*iStream, block); FAILED(code))
            return code;
        std::unique_ptr<QORMessageUnpacker> unpacker(new QORMessageUnpacker);
        unpacker->mLanguageId = iLanguageId;
        unpacker->mBlocksLeft = block.mBlocksThatFollow;
        if (!block.mBody.empty())
        {
            Builtin::MessageBlocks::Entry entry;
            if (const HRESULT code = Builtin::MessageBlocks::UnpackEntry(block.mBody, entry); FAILED(code))
                return code;
            unpacker->mbEmpty = false;
            unpacker->mCode = entry.mCode;
            unpacker->mSource = std::move(entry.mSource);
            for (std::string& argument : entry.mArguments)
                unpacker->mArguments.AddArgument(std::move(argument));
        }
        oUnpacker = std::move(unpacker);
        return S_OK;
    });
}

std::string QORMessageUnpacker::Build() const
{
    if (mbEmpty)
        return {};
    const unsigned language = mLanguageId == cNoLanguage ? QResource::GetProcessLanguageID() : mLanguageId;
    if (const char* const text = TemplateOf(mSource, mCode, language))
        return mArguments.Format(text);

    QResource::MessageFormatter code;
    code << QLog::Format::WideHex << mCode;
    std::string text = QResource::GetMessageTemplate() + code.GetArguments().front();
    for (std::size_t index = 0; const std::string& argument : mArguments.GetArguments())
        text.append(index++ == 0 ? ": " : ", ").append(argument);
    return text;
}
