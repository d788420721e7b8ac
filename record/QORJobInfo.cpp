#include "record/QORJobInfo.h"

// Not `= default`: the copy constructor of a step doesn't copy its CPU time.
QORJobInfo::QORJobInfo(QORJobInfo& ioOther) : QORJobInfo() { *this = ioOther; }

QORJobInfo& QORJobInfo::operator=(QORJobInfo& ioOther) = default;
