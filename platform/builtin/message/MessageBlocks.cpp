#include "platform/builtin/message/MessageBlocks.h"

#include "platform/QMessage.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

namespace Builtin::MessageBlocks
{

namespace
{

// Offsets of the header's fields; all numbers are little-endian.
constexpr std::size_t cMagicAt = 0;
constexpr std::size_t cVersionAt = 4;
constexpr std::size_t cFollowAt = 8;
constexpr std::size_t cLengthAt = 12;
constexpr std::size_t cChecksumAt = 16;
constexpr std::size_t cHeaderBytes = 20;

constexpr std::uint32_t cMagic = 0x474D4A51; // the bytes "QJMG"
constexpr std::uint32_t cVersion = 1;

void AppendNumber(Bytes& ioBytes, std::uint32_t iNumber)
{
    for (const unsigned shift : {0u, 8u, 16u, 24u})
        ioBytes.push_back(static_cast<BYTE>(iNumber >> shift));
}

std::uint32_t NumberAt(std::span<const BYTE> iBytes, std::size_t iPlace)
{
    return iBytes[iPlace] | std::uint32_t{iBytes[iPlace + 1]} << 8 | std::uint32_t{iBytes[iPlace + 2]} << 16 |
           std::uint32_t{iBytes[iPlace + 3]} << 24;
}

void AppendText(Bytes& ioBytes, std::string_view iText)
{
    AppendNumber(ioBytes, static_cast<std::uint32_t>(iText.size()));
    ioBytes.insert(ioBytes.end(), iText.begin(), iText.end());
}

/// CRC-32 (the polynomial of Ethernet and zip), continued from `iSum`.
std::uint32_t Checksum(std::uint32_t iSum, std::span<const BYTE> iBytes)
{
    std::uint32_t sum = ~iSum;
    for (const BYTE byte : iBytes)
    {
        sum ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xEDB88320u : 0u);
    }
    return ~sum;
}

std::uint32_t ChecksumOf(std::span<const BYTE> iHeader, std::span<const BYTE> iBody)
{
    return Checksum(Checksum(0, iHeader.subspan(0, cChecksumAt)), iBody);
}

/// Takes numbers and texts from the front of a body, and never more than it has.
class Reader
{
public:
    explicit Reader(std::span<const BYTE> iBytes) : mBytes(iBytes) {}

    std::optional<std::uint32_t> TakeNumber()
    {
        if (mBytes.size() < sizeof(std::uint32_t))
            return {};
        return NumberAt(Take(sizeof(std::uint32_t)), 0);
    }

    bool TakeText(std::string& oText)
    {
        const std::optional<std::uint32_t> length = TakeNumber();
        if (!length || mBytes.size() < *length)
            return false;
        const std::span<const BYTE> text = Take(*length);
        oText.assign(text.begin(), text.end());
        return true;
    }

    std::size_t GetBytesLeft() const { return mBytes.size(); }

private:
    std::span<const BYTE> Take(std::size_t iBytes)
    {
        const std::span<const BYTE> taken = mBytes.first(iBytes);
        mBytes = mBytes.subspan(iBytes);
        return taken;
    }

    std::span<const BYTE> mBytes;
};

/// The content of a block's header.
struct Header
{
    unsigned mBlocksThatFollow;
    std::uint32_t mBodyBytes;
};

std::optional<Header> ReadHeader(std::span<const BYTE> iBytes)
{
    if (iBytes.size() < cHeaderBytes || NumberAt(iBytes, cMagicAt) != cMagic ||
        NumberAt(iBytes, cVersionAt) != cVersion)
        return {};
    return Header{NumberAt(iBytes, cFollowAt), NumberAt(iBytes, cLengthAt)};
}

HRESULT BytesLeft(ICKDXReadBlockStream& iStream, std::uint64_t& oPosition, std::uint64_t& oLeft)
{
    std::uint64_t size = 0;
    const HRESULT code = iStream.GetPosition(&oPosition, &size);
    oLeft = size - std::min(oPosition, size);
    return code;
}

/// Fills `oBytes`; E_INVALIDARG when the stream gives fewer than it has claimed to have.
HRESULT ReadExactly(ICKDXReadBlockStream& iStream, std::span<BYTE> oBytes)
{
    DWORD read = 0;
    const HRESULT code = iStream.Read(oBytes.data(), static_cast<DWORD>(oBytes.size()), &read);
    if (FAILED(code))
        return code;
    return read == oBytes.size() ? S_OK : E_INVALIDARG;
}

} // namespace

void AppendBlock(Bytes& ioBytes, unsigned iBlocksThatFollow, std::span<const BYTE> iBody)
{
    const std::size_t header = ioBytes.size();
    AppendNumber(ioBytes, cMagic);
    AppendNumber(ioBytes, cVersion);
    AppendNumber(ioBytes, iBlocksThatFollow);
    AppendNumber(ioBytes, static_cast<std::uint32_t>(iBody.size()));
    AppendNumber(ioBytes, ChecksumOf(std::span(ioBytes).subspan(header), iBody));
    ioBytes.insert(ioBytes.end(), iBody.begin(), iBody.end());
}

Bytes PackEntry(unsigned iCode, std::string_view iSource, std::span<const std::string> iArguments)
{
    Bytes body;
    AppendNumber(body, iCode);
    AppendText(body, iSource);
    AppendNumber(body, static_cast<std::uint32_t>(iArguments.size()));
    for (const std::string& argument : iArguments)
        AppendText(body, argument);
    return body;
}

HRESULT UnpackEntry(std::span<const BYTE> iBody, Entry& oEntry)
{
    Reader reader(iBody);
    Entry entry;
    const std::optional<std::uint32_t> code = reader.TakeNumber();
    if (!code || !reader.TakeText(entry.mSource))
        return E_INVALIDARG;
    entry.mCode = *code;

    const std::optional<std::uint32_t> count = reader.TakeNumber();
    // Each argument takes at least the bytes of its length: a larger count is damage, for which no memory is allocated.
    if (!count || *count > reader.GetBytesLeft() / sizeof(std::uint32_t))
        return E_INVALIDARG;
    entry.mArguments.resize(*count);
    for (std::string& argument : entry.mArguments)
    {
        if (!reader.TakeText(argument))
            return E_INVALIDARG;
    }
    if (reader.GetBytesLeft() != 0)
        return E_INVALIDARG;
    oEntry = std::move(entry);
    return S_OK;
}

HRESULT ReadBlock(ICKDXReadBlockStream& iStream, Block& oBlock)
{
    std::uint64_t position = 0;
    std::uint64_t left = 0;
    if (const HRESULT code = BytesLeft(iStream, position, left); FAILED(code))
        return code;
    // A caller that heeds "blocks that follow" never asks for a block behind the last one.
    if (left == 0)
        return position == 0 ? S_FALSE : E_INVALIDARG;
    if (left < cHeaderBytes)
        return E_INVALIDARG;

    BYTE bytes[cHeaderBytes];
    if (const HRESULT code = ReadExactly(iStream, bytes); FAILED(code))
        return code;
    const std::optional<Header> header = ReadHeader(bytes);
    if (!header || header->mBodyBytes > left - cHeaderBytes)
        return E_INVALIDARG;
    const bool bLast = header->mBlocksThatFollow == 0;
    if (bLast != (header->mBodyBytes == left - cHeaderBytes))
        return E_INVALIDARG;
    Bytes body(header->mBodyBytes);
    if (const HRESULT code = ReadExactly(iStream, body); FAILED(code))
        return code;
    if (NumberAt(bytes, cChecksumAt) != ChecksumOf(bytes, body))
        return E_INVALIDARG;

    oBlock.mBlocksThatFollow = header->mBlocksThatFollow;
    oBlock.mBody = std::move(body);
    return S_OK;
}

HRESULT SplitBlocks(std::span<const BYTE> iBlocks, std::vector<Bytes>& ioBodies)
{
    std::vector<Bytes> bodies;
    std::span<const BYTE> rest = iBlocks;
    unsigned follow = 0;
    for (bool first = true; first ? !rest.empty() : follow != 0; first = false)
    {
        const std::optional<Header> header = ReadHeader(rest);
        if (!header || header->mBodyBytes > rest.size() - cHeaderBytes ||
            (!first && header->mBlocksThatFollow != follow - 1))
            return E_INVALIDARG;
        const std::span<const BYTE> body = rest.subspan(cHeaderBytes, header->mBodyBytes);
        if (NumberAt(rest, cChecksumAt) != ChecksumOf(rest, body))
            return E_INVALIDARG;
        bodies.emplace_back(body.begin(), body.end());
        follow = header->mBlocksThatFollow;
        rest = rest.subspan(cHeaderBytes + body.size());
    }
    if (!rest.empty())
        return E_INVALIDARG;
    ioBodies.insert(ioBodies.end(), std::make_move_iterator(bodies.begin()), std::make_move_iterator(bodies.end()));
    return S_OK;
}

HRESULT ReadRest(ICKDXReadBlockStream& iStream, Bytes& oBytes)
{
    std::uint64_t position = 0;
    std::uint64_t left = 0;
    if (const HRESULT code = BytesLeft(iStream, position, left); FAILED(code))
        return code;
    if (left > std::numeric_limits<DWORD>::max())
        return E_OUTOFMEMORY;
    Bytes bytes(static_cast<std::size_t>(left));
    if (const HRESULT code = ReadExactly(iStream, bytes); FAILED(code))
        return code;
    oBytes = std::move(bytes);
    return S_OK;
}

} // namespace Builtin::MessageBlocks
