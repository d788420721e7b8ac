#include "platform/QCOMShared.h"

#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/base/Guarded.h"

#include <string_view>
#include <utility>

namespace QCOMShared
{

namespace
{

/// Appends the text in quotation marks.
void AppendString(std::string& ioMessage, std::string_view iText)
{
    constexpr const char* cDigits = "0123456789abcdef";
    constexpr std::string_view cLetters = "\"\\\b\f\n\r\t"; // characters that have a short form
    constexpr std::string_view cShortForms = "\"\\bfnrt";

    ioMessage += '"';
    for (const char character : QBase::WideCharToUTF8(QBase::UTF8ToWideChar(iText)))
    {
        const auto byte = static_cast<unsigned char>(character);
        if (const std::size_t place = cLetters.find(character); place != std::string_view::npos)
            ioMessage.append(1, '\\').append(1, cShortForms[place]);
        else if (byte < 0x20)
            ioMessage.append("\\u00").append(1, cDigits[byte >> 4]).append(1, cDigits[byte & 0xF]);
        else
            ioMessage += character;
    }
    ioMessage += '"';
}

} // namespace

HRESULT GetLogMessageInJSON(const std::map<std::string, std::string>& iProperties, std::string& oMessage)
{
    Builtin::EventTrace::Note("QCOMShared::GetLogMessageInJSON");
    return Builtin::Guarded([&] {
        std::string message = "{";
        for (const auto& [key, value] : iProperties)
        {
            if (message.size() > 1)
                message += ',';
            AppendString(message, key);
            message += ':';
            AppendString(message, value);
        }
        message += '}';
        oMessage = std::move(message);
        return S_OK;
    });
}

} // namespace QCOMShared
