// A data item that carries the text of a file.
#pragma once

#include "data/QORJobData.h"

/// A copy shares the text with its original, and both free it: only one of the two may be destroyed.
///
/// As many bytes are saved as the text has units, so only its first half: readers of saved jobs rely on that size.
///
/// Threads: as QORJobData.
/// Owns:    the text, on the general heap. It may be null.
/// Errors:  as QORJobData; the constructor throws std::bad_alloc without memory for the copy.
/// Locks:   none.
class QORJOB_API QORTextFileData : public QORJobData
{
public:
    /// Copies the text.
    QORTextFileData(int iId, const QBase::WCHAR* iText);
    QORTextFileData(const QORTextFileData& iOther) = default;
    QORTextFileData& operator=(const QORTextFileData& iOther) = default;
    ~QORTextFileData() override;

    HRESULT Reset() override;
    HRESULT GetData(const void** oData) const override;
    HRESULT GetName(const QBase::WCHAR** oName) const override;
    /// In bytes: the number of units.
    HRESULT GetSaveObjSize(unsigned iVersion, unsigned* oSize) const override;
    HRESULT SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const override;
    /// Allocates `iSize` units and a terminating zero; units behind the bytes are zero.
    HRESULT LoadObj(unsigned iSize, const signed char* iBuffer) override;

private:
    QBase::WCHAR* mpText = nullptr;
};
