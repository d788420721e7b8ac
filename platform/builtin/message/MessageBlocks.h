// The byte format of messages: blocks, and the entries in them. docs/messages.md describes it.
#pragma once

#include "platform/Windows.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class ICKDXReadBlockStream;

namespace Builtin::MessageBlocks
{

using Bytes = std::vector<BYTE>;

struct Block
{
    unsigned mBlocksThatFollow = 0;
    Bytes mBody; ///< empty: an empty block
};

/// The content of a block that is not empty.
struct Entry
{
    unsigned mCode = 0;
    std::string mSource;
    std::vector<std::string> mArguments;
};

/// Appends a block with that body to `ioBytes`.
void AppendBlock(Bytes& ioBytes, unsigned iBlocksThatFollow, std::span<const BYTE> iBody);

Bytes PackEntry(unsigned iCode, std::string_view iSource, std::span<const std::string> iArguments);
/// E_INVALIDARG when the body is not exactly one entry.
HRESULT UnpackEntry(std::span<const BYTE> iBody, Entry& oEntry);

/// Reads the stream's next block. S_FALSE, and an empty block, for a stream that has no bytes at all; E_INVALIDARG for
/// a block that is cut, damaged or missing.
HRESULT ReadBlock(ICKDXReadBlockStream& iStream, Block& oBlock);

/// Appends the bodies of all blocks to `ioBodies`, or none: E_INVALIDARG when one is cut, damaged or missing.
HRESULT SplitBlocks(std::span<const BYTE> iBlocks, std::vector<Bytes>& ioBodies);

/// Reads the rest of a stream.
HRESULT ReadRest(ICKDXReadBlockStream& iStream, Bytes& oBytes);

} // namespace Builtin::MessageBlocks
