#include "tests/support/LogCapture.h"

#include <cstdio>
#include <utility>

namespace
{

std::string Show(const LogSinks::Line& iLine)
{
    if (iLine.mCode == 0)
        return iLine.mText;
    char code[16];
    std::snprintf(code, sizeof(code), "%08lX", static_cast<unsigned long>(static_cast<unsigned>(iLine.mCode)));
    return std::string(code) + " " + iLine.mTemplateName + " (" + iLine.mOrigin + "): " + iLine.mText;
}

} // namespace

LogCapture::LogCapture()
    : mSinkId(LogSinks::AddSink([this](const LogSinks::Line& iLine) {
          const std::lock_guard hold(mMutex);
          mLines.push_back(iLine);
      }))
{
    LogSinks::Enable("Kernel", "*", true);
}

LogCapture::~LogCapture()
{
    LogSinks::Enable("Kernel", "*", false);
    LogSinks::RemoveSink(mSinkId);
}

std::vector<std::string> LogCapture::Take()
{
    const std::lock_guard hold(mMutex);
    std::vector<std::string> texts;
    for (const LogSinks::Line& line : std::exchange(mLines, {}))
        texts.push_back(line.mRouter + ": " + Show(line));
    return texts;
}
