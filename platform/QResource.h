// The resource library: the message formatter, the bundles of message texts, and the languages of process and thread.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/ReservedSlots.h"
#include "platform/Windows.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QResource
{

/// Takes arguments through `<<` and fills a template's `%1`, `%2`... with them; `%%` is a percent sign, a number
/// without an argument is left as it is. Texts are UTF-8.
/// Other modules call the virtual operations by their slot: AddArgument is the first, Format the second.
class QORJOB_API MessageFormatter
{
public:
    enum class EnumRadix
    {
        Decimal,
        Hexadecimal,     ///< 0x1F
        WideHexadecimal, ///< 0x0000001F (16 digits for 64-bit numbers)
    };

    MessageFormatter() = default;
    MessageFormatter(const MessageFormatter&) = default;
    MessageFormatter& operator=(const MessageFormatter&) = default;

    /// Operation 0. Takes an argument as it is to appear in the text; every `<<` calls this.
    virtual void AddArgument(std::string iText) { mArguments.push_back(std::move(iText)); }
    /// Operation 1.
    virtual std::string Format(std::string_view iTemplate) const;
    virtual ~MessageFormatter() = default;

    /// The form of the whole numbers that follow, until it is set again.
    void SetRadix(EnumRadix iRadix) { mRadix = iRadix; }

    MessageFormatter& operator<<(bool ibValue);
    MessageFormatter& operator<<(int iValue);
    MessageFormatter& operator<<(unsigned iValue);
    MessageFormatter& operator<<(long iValue);
    MessageFormatter& operator<<(unsigned long iValue);
    MessageFormatter& operator<<(long long iValue);
    MessageFormatter& operator<<(unsigned long long iValue);
    MessageFormatter& operator<<(double iValue);
    /// A null text is written as an empty one.
    MessageFormatter& operator<<(const char* iText);
    MessageFormatter& operator<<(std::string_view iText);
    MessageFormatter& operator<<(const QBase::WCHAR* iText);
    MessageFormatter& operator<<(const void* iPointer);
    MessageFormatter& operator<<(const GUID& iGuid);
    /// A manipulator such as QLog::Format::Hex.
    MessageFormatter& operator<<(void (*iManipulator)(MessageFormatter&));

    const std::vector<std::string>& GetArguments() const { return mArguments; }

private:
    template <class Signed, class Unsigned>
    MessageFormatter& AddNumber(Signed iValue, Unsigned iBits);

    EnumRadix mRadix = EnumRadix::Decimal;
    std::vector<std::string> mArguments;
};

class BundleHead
{
public:
    virtual unsigned AddRef() noexcept = 0;
    virtual unsigned Release() noexcept = 0;

protected:
    ~BundleHead() = default;
};

/// The message texts of one component, in every language of the catalogue. A text that a language lacks is given in
/// English. Not a COM object: its operations are counted from AddRef as 0.
///
/// Threads: any.
/// Owns:    itself, by reference count. The texts live as long as the library.
/// Errors:  FindMessage throws std::bad_alloc only.
/// Locks:   none.
class Bundle : public ReservedSlots<BundleHead, 7>
{
public:
    /// Operation 9. The template of a message id, or of a key (its template name) when the bundle doesn't have the id;
    /// GetMessageTemplate() when it has neither. The key may be null, the last argument is always 0.
    virtual const char* GetTemplate(unsigned iMessageId, unsigned iLanguageId, const char* iKey, int iReserved) = 0;
    /// The text of a message id for a locale (its low 16 bits), `iDefault` when there is none.
    virtual QBase::wstring FindMessage(unsigned iMessageId, unsigned iLocale, const QBase::WCHAR* iDefault) = 0;

protected:
    ~Bundle() = default;
};

/// The bundle of that name; empty when there is none. In it language 0 stands for the calling thread's.
QORJOB_API QBase::ReturnPtrI<Bundle> GetFileBundle(const char* iName);

/// The replacement of a missing template: "-?- ".
QORJOB_API const char* GetMessageTemplate() noexcept;

class MessageSourceHead
{
public:
    virtual unsigned AddRef() noexcept = 0;
    virtual unsigned Release() noexcept = 0;
    /// Operation 2. The bundle with its texts; may be empty.
    virtual QBase::ReturnPtrI<Bundle> GetResourceBundle() = 0;

protected:
    ~MessageSourceHead() = default;
};

/// A component that reports messages: has their texts and records them. Not a COM object: its operations are counted
/// from AddRef as 0.
class MessageSource : public ReservedSlots<MessageSourceHead, 2>
{
public:
    /// Operation 5. Records a finished text under its message id. The last three arguments are always 0.
    virtual void RecordText(const char* iText, unsigned iMessageId, int iReserved1, int iReserved2, int iReserved3) = 0;

protected:
    ~MessageSource() = default;
};

/// Windows language ids, such as 0x409. A thread has the process's language until it is given its own.
QORJOB_API unsigned GetProcessLanguageID() noexcept;
QORJOB_API unsigned GetThreadLanguageID() noexcept;

} // namespace QResource
