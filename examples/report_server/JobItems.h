// The data items by which the steps of a job hand on what they have made.
#pragma once

#include "Rows.h"
#include "qorjob.h"

#include <string>

/// Gives the items' ids their names, which the library shows. Once, before the first job.
void NameJobItems();

// All throw JobCallError. A second item of its kind replaces the first one.

/// A string item in the job's own buffer. The job uses that too: meanwhile no other thread may.
void StoreSql(QORJob& ioJob, const std::string& iSql);
std::string ReadSql(const QORJob& iJob);

/// A binary item.
void StoreRows(QORJob& ioJob, const Rows& iRows);
Rows ReadRows(const QORJob& iJob);

/// A text-file item: the answer as the client will see it.
void StoreResult(QORJob& ioJob, const std::string& iText);
std::string ReadResult(const QORJob& iJob);
