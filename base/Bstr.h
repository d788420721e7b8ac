// The owner of a text that COM allocates.
#pragma once

#include "platform/Windows.h"

#include <memory>

struct BstrDeleter
{
    void operator()(QBase::WCHAR* iText) const { SysFreeString(iText); }
};

using Bstr = std::unique_ptr<QBase::WCHAR, BstrDeleter>;
