// The pure-call hook of Microsoft's compilers: the runtime library calls a handler. It is one for all modules that
// share the runtime's DLL.
#include "platform/PureCall.h"

#include <cstdlib>

namespace
{

/// The handler is set while the library is loaded.
class Hook
{
public:
    Hook() noexcept : mpBefore(_set_purecall_handler(&PureCall::End)) {}
    Hook(const Hook&) = delete;
    Hook& operator=(const Hook&) = delete;

    ~Hook()
    {
        if (_get_purecall_handler() == &PureCall::End)
            _set_purecall_handler(mpBefore);
    }

private:
    const _purecall_handler mpBefore;
};

const Hook gHook;

} // namespace
