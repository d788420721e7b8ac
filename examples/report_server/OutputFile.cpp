#include "OutputFile.h"

#include "Errors.h"

#include <unistd.h>

#include <system_error>

OutputFile::OutputFile(const std::filesystem::path& iPath) : mName(iPath), mPart(iPath)
{
    std::error_code ignored; // opening it fails, too
    const std::filesystem::file_status old = std::filesystem::status(iPath, ignored);
    const bool bOld = std::filesystem::is_regular_file(old);
    if (bOld || !std::filesystem::exists(old))
    {
        mTarget = bOld ? std::filesystem::canonical(iPath, ignored) : iPath; // a link stays one
        mPart = mTarget.string() + ".part-" + std::to_string(getpid());
    }
    const bool bProtected = bOld && access(iPath.c_str(), W_OK) != 0;
    if (!bProtected)
        mStream.open(mPart, std::ios::binary);
    if (!mStream.is_open())
        throw SetupError(iPath.string() + " can't be written: " + SystemReason());
    if (bOld)
        std::filesystem::permissions(mPart, old.permissions(), ignored);
}

OutputFile::~OutputFile()
{
    std::error_code ignored;
    if (!mTarget.empty())
        std::filesystem::remove(mPart, ignored);
}

void OutputFile::Write(std::string_view iText)
{
    const std::lock_guard hold(mMutex);
    mStream << iText;
}

void OutputFile::NoteLoss(const std::string& iReason)
{
    LogError(mName.string() + " is not complete: " + iReason);
    const std::lock_guard hold(mMutex);
    mbWhole = false;
}

bool OutputFile::Close()
{
    const std::lock_guard hold(mMutex);
    std::error_code error;
    mStream.close();
    if (mStream && !mTarget.empty())
        std::filesystem::rename(mPart, mTarget, error);
    const bool bWritten = mStream && !error;
    if (!bWritten)
        LogError(mName.string() + " can't be written" + (error ? ": " + error.message() : ""));
    return mbWhole && bWritten;
}
