// The owner of a text on the general heap.
#pragma once

#include "platform/QBase.h"

#include <memory>

using HeapText = std::unique_ptr<QBase::WCHAR, QBase::HeapDeleter>;
