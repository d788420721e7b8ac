// The log router library: the packing of coded entries into messages, their unpacking, and the texts of the kernel's
// codes.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QMessage.h"
#include "platform/QResource.h"
#include "platform/Windows.h"

#include <memory>
#include <string>

namespace QLogRouter
{

/// The kernel's texts. In this bundle language 0 stands for that of the locale (its low 16 bits).
QORJOB_API QBase::ReturnPtrI<QResource::Bundle> GetResourceBundle(unsigned iLocale);

/// To be called when the process context of the calling thread has changed: copies of its data are read anew.
QORJOB_API void RefreshCurrentThreadContext();

} // namespace QLogRouter

/// Packs one entry into a write message: a code, and the arguments that are streamed into the packer during its life.
///
/// Threads: one at a time.
/// Owns:    a reference to the message.
/// Errors:  an entry that can't be written (no memory, a closed message) is left out. With a null message
///          nothing is packed.
/// Locks:   the message's, at the end.
class QORJOB_API QORMessagePacker : public QResource::MessageFormatter
{
public:
    /// `iSource`: the component that reports it, such as "Kernel"; its bundle has the text. A source that is no
    /// bundle's name is itself the template when no bundle has the code.
    QORMessagePacker(ICKDXWriteMessage* iMessage, const QBase::WCHAR* iSource, unsigned iCode);
    /// Writes the entry.
    ~QORMessagePacker() override;
    QORMessagePacker(const QORMessagePacker&) = delete;
    QORMessagePacker& operator=(const QORMessagePacker&) = delete;

private:
    QBase::PtrI<ICKDXWriteMessage> mMessage;
    std::string mSource;
    unsigned mCode;
};

/// One entry, read from a stream of blocks.
///
/// Threads: one at a time.
/// Owns:    a copy of the entry.
/// Errors:  see Create.
/// Locks:   none.
class QORJOB_API QORMessageUnpacker
{
public:
    static constexpr unsigned cNoLanguage = 0xFFFFFFFF;

    /// Reads the next block of `iStream`. At the start of a stream without blocks it gives an empty message.
    /// `iLanguageId`: of the texts; with cNoLanguage they are in the process's.
    /// Errors: E_POINTER for a null stream; E_INVALIDARG for a block that is cut or damaged, or missing though the last
    /// one announced it; E_OUTOFMEMORY; the stream's own. `oUnpacker` is empty then.
    static HRESULT Create(ICKDXReadBlockStream* iStream, unsigned iLanguageId,
                          std::unique_ptr<QORMessageUnpacker>& oUnpacker);

    bool IsMessageEmpty() const { return mbEmpty; }
    /// The entry's code; 0 of an empty message.
    unsigned GetMessageId() const { return mCode; }
    bool IsLastMessageInStream() const { return mBlocksLeft == 0; }

    /// The entry's text in UTF-8. A code that is not in the catalogue is written with its arguments behind "-?- ".
    std::string Build() const;

private:
    QORMessageUnpacker() = default;

    unsigned mLanguageId = cNoLanguage;
    unsigned mBlocksLeft = 0;
    bool mbEmpty = true;
    unsigned mCode = 0;
    std::string mSource;
    QResource::MessageFormatter mArguments;
};
