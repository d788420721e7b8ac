#include "record/QORJobInfo.h"

// Not `= default`: the copy constructor of a step leaves its CPU time behind.
QORJobInfo::QORJobInfo(QORJobInfo& ioOther) : QORJobInfo() { *this = ioOther; }

QORJobInfo& QORJobInfo::operator=(QORJobInfo& ioOther) = default;
