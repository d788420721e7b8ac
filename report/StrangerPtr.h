// How the reporting operations hold what they ask a context for. Private to report/.
#pragma once

#include "job/ExceptionBoundary.h"
#include "platform/QBase.h"

#include <utility>

/// One reference to an object of the layers above. LetGo gives it back where nothing went wrong: what the object's
/// Release throws reaches the caller's boundary. Else the destructor does, while an exception is under way: what
/// Release throws then is logged, with the job's id.
template <class T>
class StrangerPtr
{
public:
    StrangerPtr(int iJobId, QBase::PtrI<T> iObject) : mJobId(iJobId), mObject(std::move(iObject)) {}

    ~StrangerPtr()
    {
        try
        {
            LetGo();
        }
        catch (...)
        {
            CodeOfExceptionInFlight("Release", mJobId);
        }
    }

    StrangerPtr(const StrangerPtr&) = delete;
    StrangerPtr& operator=(const StrangerPtr&) = delete;

    void LetGo()
    {
        if (mObject)
            mObject.Detach()->Release();
    }

    T* Get() const { return mObject.Get(); }
    T* operator->() const { return mObject.Get(); }
    explicit operator bool() const { return Get() != nullptr; }

private:
    int mJobId;
    QBase::PtrI<T> mObject;
};
