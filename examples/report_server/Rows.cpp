#include "Rows.h"

#include "TextTable.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace
{

/// Numbers stand as in memory: a block never leaves the process.
template <class T>
void AddNumber(std::string& ioBytes, T iNumber)
{
    ioBytes.append(reinterpret_cast<const char*>(&iNumber), sizeof iNumber);
}

void AddText(std::string& ioBytes, const std::string& iText)
{
    AddNumber(ioBytes, iText.size());
    ioBytes += iText;
}

void AddValue(std::string& ioBytes, const Value& iValue)
{
    AddNumber(ioBytes, iValue.mKind);
    if (iValue.mKind == Value::EnumKind::Whole)
        AddNumber(ioBytes, iValue.mWhole);
    else if (iValue.mKind == Value::EnumKind::Real)
        AddNumber(ioBytes, iValue.mReal);
    else if (iValue.mKind == Value::EnumKind::Text)
        AddText(ioBytes, iValue.mText);
}

class Reader
{
public:
    explicit Reader(std::string_view iBytes) : mRest(iBytes) {}

    template <class T>
    T TakeNumber()
    {
        T number{};
        std::memcpy(&number, Take(sizeof number).data(), sizeof number);
        return number;
    }

    std::string TakeText() { return std::string(Take(TakeNumber<std::size_t>())); }

    Value TakeValue()
    {
        switch (TakeNumber<Value::EnumKind>())
        {
        case Value::EnumKind::Whole:
            return Value(TakeNumber<std::int64_t>());
        case Value::EnumKind::Real:
            return Value(TakeNumber<double>());
        case Value::EnumKind::Text:
            return Value(TakeText());
        default:
            return {};
        }
    }

    bool IsAtEnd() const { return mRest.empty(); }

private:
    std::string_view Take(std::size_t iCount)
    {
        if (iCount > mRest.size())
            throw std::out_of_range("the block of rows ends too early");
        const std::string_view taken = mRest.substr(0, iCount);
        mRest.remove_prefix(iCount);
        return taken;
    }

    std::string_view mRest;
};

} // namespace

std::string Value::ToText() const
{
    switch (mKind)
    {
    case EnumKind::Whole:
        return std::to_string(mWhole);
    case EnumKind::Real:
        return FormatDecimals(mReal, 2);
    default:
        return mText;
    }
}

std::size_t SizeOf(const Row& iRow)
{
    std::size_t size = sizeof(Row);
    for (const Value& value : iRow)
        size += sizeof value + value.mText.size();
    return size;
}

std::string ToBytes(const Rows& iRows)
{
    std::string bytes;
    AddNumber(bytes, iRows.mColumns.size());
    for (const std::string& column : iRows.mColumns)
        AddText(bytes, column);
    for (const Row& row : iRows.mRows)
        for (const Value& value : row)
            AddValue(bytes, value);
    return bytes;
}

Rows FromBytes(std::string_view iBytes, const RowGate& iGate)
{
    Reader reader(iBytes);
    Rows rows;
    for (auto columns = reader.TakeNumber<std::size_t>(); columns > 0; --columns)
        rows.mColumns.push_back(reader.TakeText());
    while (!rows.mColumns.empty() && !reader.IsAtEnd())
    {
        Row row;
        for (std::size_t i = 0; i < rows.mColumns.size(); ++i)
            row.push_back(reader.TakeValue());
        iGate(row);
        rows.mRows.push_back(std::move(row));
    }
    return rows;
}
