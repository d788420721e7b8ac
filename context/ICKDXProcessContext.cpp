#include "context/ICKDXProcessContext.h"

#include "base/ExceptionBoundary.h"

bool GetUsrContextLogFlag(ICKDXProcessContext* iContext)
{
    if (iContext == nullptr)
        return true;
    LONG flag = 0;
    Boundary([&] { return iContext->get_UserContextLogFlag(&flag); });
    return flag != 0;
}
