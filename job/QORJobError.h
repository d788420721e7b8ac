// The builder of a job's error: it makes the job report the error and close.
#pragma once

#include "base/HeapObject.h"
#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QLogRouter.h"
#include "platform/QMessage.h"
#include "platform/QSynch.h"
#include "platform/Windows.h"

#include <memory>

class QORJob;

/// One error of a job while its arguments are streamed in: made by QORJob::GetJobErrorBuilder, destroyed at the end of
/// a statement or a block. Making it sets the job's status, lists and error code; its end writes the error into the
/// job's output message.
///
/// Threads: the one that made it. The job is locked all the while: others that call the job wait.
/// Owns:    a hold on the job's lock, one reference to the message.
/// Errors:  without a message to write to (see GetCreationResult) the arguments are dropped. Without memory << throws
///          std::bad_alloc; the error is written with the arguments before it.
/// Locks:   the job's, for its whole life.
class QORJOB_API QORJobError : public HeapObject
{
public:
    QORJobError(const QORJobError&) = delete;
    QORJobError& operator=(const QORJobError&) = delete;
    virtual ~QORJobError();

    // The arguments of the error's text, in its order.
    QORJobError& operator<<(bool ibValue);
    QORJobError& operator<<(char iValue);
    QORJobError& operator<<(short iValue);
    QORJobError& operator<<(unsigned char iValue);
    QORJobError& operator<<(unsigned short iValue);
    QORJobError& operator<<(int iValue);
    QORJobError& operator<<(unsigned iValue);
    QORJobError& operator<<(long iValue);
    QORJobError& operator<<(float iValue);
    QORJobError& operator<<(double iValue);
    QORJobError& operator<<(const QBase::WCHAR* iText);
    /// Null is the empty text.
    QORJobError& operator<<(QBase::WCHAR* iText);
    QORJobError& operator<<(const GUID& iGuid);
    /// QLog::Format::Hex and its like.
    QORJobError& operator<<(void (*iManipulator)(QResource::MessageFormatter&));
    /// Texts are wide: a narrow one would pass for a bool.
    QORJobError& operator<<(const char*) = delete;

    /// E_FAIL when nothing will be written: the job had failed before, its thread was lost and it is reporting or
    /// closing already, or it has no message.
    HRESULT GetCreationResult() const;

private:
    friend class QORJob;

    class LockHold final : public HeapObject, public QSynch::CriticalSection::SmartLock
    {
        using SmartLock::SmartLock;
    };

    QORJobError(QORJob& ioJob, HRESULT iCode);

    template <class T>
    QORJobError& Pack(const T& iArgument);

    // In the order in which they are taken; they are released in the reverse order.
    std::unique_ptr<LockHold> mpLock; // null without memory
    HRESULT mCode;
    QBase::PtrI<ICKDXWriteMessage> mpMessage;
    std::unique_ptr<QORMessagePacker> mpPacker; // null when nothing is to be written
};
