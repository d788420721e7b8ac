// The message library: requests that came in, answers that are being written, and the channels that carry them.
//
// A message is a sequence of blocks, an item and an error code. Each block holds one entry: a code, the name of the
// component that reports it and the arguments of its text; QLogRouter.h packs and unpacks them. The item is the object
// that stands for the request: an answer has the item of its request, by which the client that waits for it recognises
// it. docs/messages.md describes the bytes.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/ReservedSlots.h"
#include "platform/Windows.h"

#include <cstddef>
#include <cstdint>
#include <functional>

class QORChannel;

/// {5D0C1F52-6E1B-4B7C-9A5E-2F4D7B83C6A1}
QORJOB_API extern const GUID IID_ICKDXReadMessage;
/// {A41E7D0B-3C95-4F2E-8B67-D92C0F15E384}
QORJOB_API extern const GUID IID_ICKDXWriteMessage;
/// {7F3B9C26-04DA-4E81-B5A3-61C8E2907D4F}
QORJOB_API extern const GUID IID_ICKDXReadBlockStream;
/// {C2865E1D-9B40-47F3-8D1A-0E73A5F4B69C}
QORJOB_API extern const GUID IID_CKDXServerMessage;

/// The blocks of a message as one sequence of bytes, read from start to end.
///
/// Threads: one at a time.
/// Owns:    the bytes: the message may change or be destroyed meanwhile.
/// Errors:  E_POINTER for a null out-pointer.
/// Locks:   none.
class ICKDXReadBlockStream : public IUnknown
{
public:
    /// Reads up to `iBytes`; S_FALSE when fewer are left. `*oRead` is their number.
    virtual HRESULT QORJOB_STDCALL Read(void* oBytes, DWORD iBytes, DWORD* oRead) = 0;
    /// Where the next Read begins, and how many bytes there are in all.
    virtual HRESULT QORJOB_STDCALL GetPosition(std::uint64_t* oPosition, std::uint64_t* oSize) = 0;

protected:
    ~ICKDXReadBlockStream() = default;
};

/// The operations 3 to 5 of a read message, counted from QueryInterface as 0; the next ones used are 9 and 17.
class ICKDXReadMessageHead : public IUnknown
{
public:
    /// Operation 3. Appends the message's blocks to a write message. E_POINTER for null, E_NOINTERFACE for an object
    /// that is no write message, E_INVALIDARG when the blocks are damaged (nothing is appended then).
    virtual HRESULT QORJOB_STDCALL CopyTo(IUnknown* iWriteMessage) = 0;
    /// Operation 4. A new stream that begins at the first block.
    virtual HRESULT QORJOB_STDCALL get_BlockStream(ICKDXReadBlockStream** oStream) = 0;
    /// Operation 5. S_OK when that read or write message has this one's item; else S_FALSE. E_POINTER for null,
    /// E_NOINTERFACE for an object that is no message.
    virtual HRESULT QORJOB_STDCALL BelongsTo(IUnknown* iMessage) = 0;

protected:
    ~ICKDXReadMessageHead() = default;
};

class ICKDXReadMessageMiddle : public ReservedSlots<ICKDXReadMessageHead, 3>
{
public:
    /// Operation 9. The content as a stream of its own; S_FALSE and null when the message has none.
    virtual HRESULT QORJOB_STDCALL get_Content(IUnknown** oContent) = 0;

protected:
    ~ICKDXReadMessageMiddle() = default;
};

/// A message to be read. It never changes.
///
/// Threads: any.
/// Owns:    its bytes and a reference to its item.
/// Errors:  E_POINTER for a null out-pointer. The bytes are as they came in: damage is found when they are unpacked.
/// Locks:   none.
class ICKDXReadMessage : public ReservedSlots<ICKDXReadMessageMiddle, 7>
{
public:
    /// Operation 17. The item, with a reference.
    virtual HRESULT QORJOB_STDCALL get_Item(IUnknown** oItem) = 0;
    /// From here on the slots are this library's choice. The code that the message carries; 0 for none.
    virtual HRESULT QORJOB_STDCALL get_ErrorCode(HRESULT* oCode) = 0;

protected:
    ~ICKDXReadMessage() = default;
};

enum EnumWriteMessageState : int
{
    WriteMessageClosed = 1, ///< it has become a read message
    WriteMessageOpen = 2,   ///< blocks can be appended
};

class ICKDXWriteMessageHead : public IUnknown
{
public:
    /// Operation 3. One of EnumWriteMessageState.
    virtual HRESULT QORJOB_STDCALL get_State(int* oState) = 0;

protected:
    ~ICKDXWriteMessageHead() = default;
};

/// A message being written.
///
/// Threads: any.
/// Owns:    its blocks and a reference to its item.
/// Errors:  E_POINTER for a null argument, E_UNEXPECTED for what a closed message can't do, E_OUTOFMEMORY.
/// Locks:   its own, never held while anything else is called.
class ICKDXWriteMessage : public ReservedSlots<ICKDXWriteMessageHead, 27>
{
public:
    /// Operation 31. The item, with a reference.
    virtual HRESULT QORJOB_STDCALL get_Item(IUnknown** oItem) = 0;
    /// From here on the slots are this library's choice. The code of the error that was packed last.
    virtual HRESULT QORJOB_STDCALL set_ErrorCode(HRESULT iCode) = 0;
    virtual HRESULT QORJOB_STDCALL get_ErrorCode(HRESULT* oCode) = 0;
    /// Appends packed blocks, all of them or none: E_INVALIDARG when they are damaged.
    virtual HRESULT QORJOB_STDCALL AppendBlocks(const void* iBlocks, std::size_t iBytes) = 0;
    /// A new stream of the present blocks.
    virtual HRESULT QORJOB_STDCALL get_BlockStream(ICKDXReadBlockStream** oStream) = 0;
    /// Nothing can be appended any more. S_FALSE when it was closed already.
    virtual HRESULT QORJOB_STDCALL Close() = 0;

protected:
    ~ICKDXWriteMessage() = default;
};

/// A write message that is sent on a channel. Every write message that the message library makes is one: ask it with
/// IID_CKDXServerMessage.
class CKDXServerMessage : public ICKDXWriteMessage
{
public:
    /// Sets the code that the message is sent with, which is its error code. E_UNEXPECTED when the message is closed.
    virtual HRESULT QORJOB_STDCALL SetResult(HRESULT iResult) = 0;
    /// Delivers the present content and returns the receiver's result. The message stays open.
    virtual HRESULT QORJOB_STDCALL Send(QORChannel* iChannel) = 0;
    /// Makes it like a new one: open, without blocks and code. The item stays.
    virtual HRESULT QORJOB_STDCALL Reset() = 0;

protected:
    ~CKDXServerMessage() = default;
};

/// A connection to a client: its receiver is called with each message, in the sender's thread.
///
/// Threads: any; two messages sent at once may reach the receiver at once.
/// Owns:    the receiver until it is closed.
/// Errors:  E_POINTER for a null message, E_HANDLE once it is closed, E_FAIL when the receiver threw.
/// Locks:   its own, never held while the receiver is called.
class QORJOB_API QORChannel : public virtual QBase::Counted
{
public:
    virtual HRESULT Send(ICKDXReadMessage* iMessage) = 0;
    /// Releases the receiver. A message that is being sent still reaches it.
    virtual void Close() = 0;

protected:
    ~QORChannel() override = default;
};

namespace QMessage
{

/// Operations on a read message.
struct QORJOB_API CKDXReadMessage
{
    /// Makes the answer to `iMessage`: it has the same item and, when `ibWithBlocks`, begins with its blocks. Its
    /// memory is not charged to the job's governor.
    /// Errors: E_POINTER for null; E_INVALIDARG when the blocks to be copied are damaged.
    static HRESULT NewWriteMessageNotGoverned(ICKDXReadMessage* iMessage, bool ibWithBlocks,
                                              ICKDXWriteMessage** oWriteMessage);
};

/// Operations on a write message.
struct QORJOB_API CKDXWriteMessage
{
    /// Closes the message and makes a read message of its blocks, item and error code.
    static HRESULT ToReadMessage(ICKDXWriteMessage* iMessage, ICKDXReadMessage** oReadMessage);

    /// Appends the blocks of `iSource` to those of `iTarget`; the source keeps them. The source's code becomes the
    /// target's when that has none. Errors: E_UNEXPECTED when the target is closed.
    static HRESULT Append(ICKDXWriteMessage* iTarget, ICKDXWriteMessage* iSource);

    /// The texts of all entries in the locale's language (the low 16 bits), separated by line feeds. Every entry of an
    /// error message counts as an error, whatever its code.
    static HRESULT GetErrorsFromMessage(unsigned iLocale, ICKDXWriteMessage* iMessage, QBase::wstring& oText);
};

/// Makes a read message of packed blocks as they came in. Without an item it gets one of its own. Null bytes are
/// allowed with the length 0: the message is empty then. Null when there is no memory.
QORJOB_API QBase::ReturnPtrI<ICKDXReadMessage> NewReadMessage(const void* iBytes, std::size_t iLength,
                                                              IUnknown* iItem = nullptr, HRESULT iErrorCode = S_OK);

/// Makes an open server message without blocks. Without an item it gets one of its own. Null when there is no memory.
QORJOB_API QBase::ReturnPtrI<CKDXServerMessage> NewServerMessage(IUnknown* iItem = nullptr);

using Receiver = std::function<HRESULT(ICKDXReadMessage*)>;

/// Makes a channel to a receiver. A receiver that keeps a message beyond the call takes a reference. Null when there
/// is no memory.
QORJOB_API QBase::ReturnPtrI<QORChannel> NewChannel(Receiver iReceiver);

} // namespace QMessage
