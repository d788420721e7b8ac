// How the reporting operations let go of strangers. Private to report/.
#pragma once

#include "platform/QBase.h"

/// By name, not by the pointer's destructor: what a stranger's Release throws reaches the caller's boundary.
template <class T>
void ReleaseByName(QBase::PtrI<T>& ioObject)
{
    if (ioObject)
        ioObject.Detach()->Release();
}
