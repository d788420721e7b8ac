// A data item that carries a text.
#pragma once

#include "data/QORJobData.h"

/// A copy shares the text with its original, and both free it: only one of the two may be destroyed.
///
/// The units are saved without the terminating zero. SaveObj truncates a text that doesn't fit and returns S_OK;
/// `oSize` is the even number of bytes that it has written.
///
/// Threads: as QORJobData.
/// Owns:    the text, on the general heap. It may be null.
/// Errors:  as QORJobData; the constructor throws std::bad_alloc without memory for a copy.
/// Locks:   none.
class QORJOB_API QORStringData : public QORJobData
{
public:
    // In capitals because the modules that call it name it so.
    // NOLINTNEXTLINE(readability-identifier-naming)
    enum COPY_FLAG
    {
        COPY_STRING = 0,
        ADOPT_STRING = 1, ///< takes ownership of the text, which must be on the general heap
    };

    QORStringData(int iId, const QBase::WCHAR* iText, COPY_FLAG iFlag);
    QORStringData(const QORStringData& iOther) = default;
    QORStringData& operator=(const QORStringData& iOther) = default;
    ~QORStringData() override;

    HRESULT Reset() override;
    HRESULT GetData(const void** oData) const override;
    HRESULT GetName(const QBase::WCHAR** oName) const override;
    /// In bytes.
    HRESULT GetSaveObjSize(unsigned iVersion, unsigned* oSize) const override;
    HRESULT SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const override;
    /// An odd last byte is ignored.
    HRESULT LoadObj(unsigned iSize, const signed char* iBuffer) override;

    /// A null text is returned as empty.
    HRESULT GetData(QBase::wstring& oText) const;
    /// For the caller to free with QBase::HeapFree; null when there is no text.
    HRESULT GetDataCopy(QBase::WCHAR** oText) const;
    /// Null changes nothing.
    HRESULT Append(const QBase::WCHAR* iText);

private:
    QBase::WCHAR* mpText;
};
