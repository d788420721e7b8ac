// The registry on systems other than Windows: a tree in memory, empty at first. It is filled by call or from text
// (UTF-8):
//
//     # a comment
//     [HKEY_LOCAL_MACHINE\SOFTWARE\Veltrix\Language]
//     @ = 409
//     [HKEY_CLASSES_ROOT\CLSID\{5B0C9E4A-7C1D-4E0B-9C57-2F6A1B3D8E60}\ProgID]
//     @ = Veltrix.Context
//     Some name = some text
//
// A line in brackets names the key that the lines behind it fill; `@` is its unnamed value. Blanks around names and
// texts are ignored, and so are empty lines. A name ends at the first `=`.
#pragma once

#include "platform/Export.h"

#include <string>
#include <string_view>

#if !defined(_WIN32)

namespace Builtin::RegistryTree
{

/// Makes the key (`HKEY_LOCAL_MACHINE\SOFTWARE`) with the keys above it; throws QBase::Message for an
/// unknown root, an empty name, or more than 512 names.
QORJOB_API void CreateKey(std::string_view iPath);
/// Sets a text; makes its key. An empty name is the unnamed value.
QORJOB_API void SetText(std::string_view iPath, std::string_view iName, std::string_view iText);

/// Adds all keys and values of the lines, or none: a bad line throws QBase::Message "file:line: what is wrong", with
/// `iFileName` as the file.
QORJOB_API void LoadText(std::string_view iLines, const std::string& iFileName);

/// Empties the tree. Open keys stay readable.
QORJOB_API void Clear();

} // namespace Builtin::RegistryTree

#endif
