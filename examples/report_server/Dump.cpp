#include "Dump.h"

#include "JobCalls.h"

#include <exception>

void Dump::Add(const QORJob& iJob)
{
    try
    {
        QBase::wstring text;
        iJob.GetJobInfo(text);
        if (text.empty())
            throw JobCallError("GetJobInfo told nothing");
        mFile.Write(QBase::WideCharToUTF8(text.c_str()) + "\n"); // an empty line between two jobs
    }
    catch (const std::exception& error)
    {
        mFile.NoteLoss(error.what());
    }
}
