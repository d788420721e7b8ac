// A data item that carries the text of a file.
#pragma once

#include "data/QORJobData.h"

/// A copy shares the text with its original and frees it too: only one of the two may be destroyed.
///
/// Saved are as many bytes as the text has units, and so its first half: readers of saved jobs count on that size.
///
/// Threads: as QORJobData.
/// Owns:    the text, which is of the general heap. It may be null.
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
    /// Makes room for `iSize` units; those that the bytes don't fill are zero.
    HRESULT LoadObj(unsigned iSize, const signed char* iBuffer) override;

private:
    QBase::WCHAR* mpText = nullptr;
};
