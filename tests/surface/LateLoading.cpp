// A program that loads the library after its start, as those with plug-ins do: LateLoading LIBRARY.
#include <dlfcn.h>

#include <cstdio>

int main(int, char* iArguments[])
{
    if (dlopen(iArguments[1], RTLD_NOW) != nullptr)
        return 0;
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
}
