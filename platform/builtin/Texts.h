// Texts of a server's own: codes and their texts in its languages, added to the library's while the program runs.
// docs/messages.md describes a catalogue and how a text is found.
//
// Any thread may add while others look texts up. A catalogue is added whole or not at all, and stays for the life of
// the process. It brings new texts: a code or a name that its bundle already has in that language is refused, whoever
// brought it. What is wrong with a catalogue is thrown as QBase::Message, "NAME:LINE: what is wrong"; without memory it
// is std::bad_alloc.
#pragma once

#include "platform/Export.h"

#include <string>
#include <string_view>

namespace Builtin::Texts
{

/// Adds a file's texts. The path is one that std::ifstream takes.
QORJOB_API void AddFile(const std::string& iPath);

/// Adds the texts of a catalogue that the program has in memory; it may go afterwards. `iName` stands for it in errors.
QORJOB_API void Add(std::string_view iCatalogue, const std::string& iName);

} // namespace Builtin::Texts
