#include "context/ICKDXProcessContext.h"

bool GetUsrContextLogFlag(ICKDXProcessContext* iContext)
{
    if (iContext == nullptr)
        return true;
    LONG flag = 0;
    iContext->get_UserContextLogFlag(&flag);
    return flag != 0;
}
