#include "Rows.h"

#include "TextTable.h"

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
