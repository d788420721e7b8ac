// The makers of a request's job, session, context and steps. All throw JobCallError.
#pragma once

#include "JobRecord.h"

#include <cstdint>

/// The process context, with the request's message, so that an answer can be written from here on.
QBase::PtrI<CKDXProcessContext> MakeContext(const JobRecord& iRecord, ICKDXReadMessage* iRequest);

/// The job, which describes its request and has the record's context. It has its steps and is marked as running.
/// `iMemory`: the limit of its governor, in bytes.
QBase::PtrI<QORJob> MakeJob(const JobRecord& iRecord, std::uint64_t iMemory);
