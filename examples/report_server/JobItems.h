// The data items by which the steps of a job hand on what they have made.
#pragma once

#include "Rows.h"
#include "qorjob.h"

#include <string>

/// Gives the items' ids their names, which the library shows. Once, before the first job.
void NameJobItems();

// All throw JobCallError. What is stored is the task's output, in place of an item of the same kind; what is read is
// its input, which the task holds until it ends.

/// A string item in the job's own buffer, which any thread may allocate of.
void StoreSql(QORJobTask& ioTask, const std::string& iSql);
std::string ReadSql(QORJobTask& ioTask);

/// A binary item.
void StoreRows(QORJobTask& ioTask, const Rows& iRows);
Rows ReadRows(QORJobTask& ioTask, const RowGate& iGate);

/// A text-file item: the answer as the client will see it.
void StoreResult(QORJobTask& ioTask, const std::string& iText);
std::string ReadResult(QORJobTask& ioTask);
