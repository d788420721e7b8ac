// The log router library: packs coded entries into messages and unpacks them, and knows the texts of the kernel's
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

/// The process context of the calling thread has changed: what is kept of it is to be read anew.
QORJOB_API void RefreshCurrentThreadContext();

} // namespace QLogRouter

/// Packs one entry into a write message: the arguments that were streamed into it by its end, under a code.
///
/// Threads: one at a time.
/// Owns:    a reference to the message.
/// Errors:  an entry that can't be written (no memory, a closed message) is left out. A null message takes nothing.
/// Locks:   the message's, at the end.
class QORJOB_API QORMessagePacker : public QResource::MessageFormatter
{
public:
    /// `iSource`: who reports it, such as "Kernel"; its bundle has the text. One that is no bundle's name is itself the
    /// template of an entry whose code no bundle knows.
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
    /// Errors: E_POINTER for a null stream; E_INVALIDARG for a block that is cut or damaged, or missing where the last
    /// one told of more; E_OUTOFMEMORY; what the stream gives. `oUnpacker` is empty then.
    static HRESULT Create(ICKDXReadBlockStream* iStream, unsigned iLanguageId,
                          std::unique_ptr<QORMessageUnpacker>& oUnpacker);

    bool IsMessageEmpty() const { return mbEmpty; }
    /// The entry's code; 0 of an empty message.
    unsigned GetMessageId() const { return mCode; }
    bool IsLastMessageInStream() const { return mBlocksLeft == 0; }

    /// The entry's text in UTF-8. A code that nobody knows is written with its arguments behind "-?- ".
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
