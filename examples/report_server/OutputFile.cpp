#include "OutputFile.h"

#include "Errors.h"

OutputFile::OutputFile(const std::filesystem::path& iPath) : mPath(iPath), mStream(iPath, std::ios::binary)
{
    if (!mStream)
        throw SetupError(iPath.string() + " can't be written");
}

void OutputFile::Write(std::string_view iText)
{
    const std::lock_guard hold(mMutex);
    mStream << iText;
}

void OutputFile::NoteLoss(const std::string& iReason)
{
    LogError(mPath.string() + " is not complete: " + iReason);
    const std::lock_guard hold(mMutex);
    mbWhole = false;
}

bool OutputFile::Close()
{
    const std::lock_guard hold(mMutex);
    mStream.close();
    if (!mStream)
        LogError(mPath.string() + " can't be written");
    return mbWhole && mStream;
}
