// The way from an exception to the error of its job. The job then has left what tells of the error, and its closing
// step; a job that has ended already keeps the error that it has.
#pragma once

#include "qorjob.h"

#include <exception>
#include <string>

/// Of a task that ran a step. Gives the reason, for the log. Throws std::bad_alloc.
std::string ReportFailure(QORJob& ioJob, int iStepId, const std::exception_ptr& iFailure);

/// Of the kernel itself. Throws std::bad_alloc.
void ReportException(QORJob& ioJob, const std::string& iWhere, const std::string& iReason);

/// In words, whatever it is.
std::string ReasonOf(const std::exception_ptr& iFailure);
