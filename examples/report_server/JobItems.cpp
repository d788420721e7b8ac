#include "JobItems.h"

#include "JobCalls.h"

#include <cstring>
#include <memory>
#include <string_view>

namespace
{

/// A job has room for the ids 0 to 4; 0 is the library's.
enum EnumItem : int
{
    ItemSql = 1,
    ItemRows = 2,
    ItemResult = 3,
};

using Item = QBase::PtrI<QORJobData>;

/// The caller's reference and the job's are two.
Item Find(const QORJob& iJob, EnumItem iId)
{
    QORJobData* found = nullptr;
    Expect(iJob.GetJobData(iId, &found), "GetJobData");
    if (found == nullptr)
        throw JobCallError("the job has no item " + std::to_string(iId));
    return Item::Adopt(found);
}

const void* PayloadOf(const QORJobData& iItem)
{
    const void* payload = nullptr;
    Expect(iItem.GetData(&payload), "GetData");
    return payload;
}

std::string TextOf(const QORJobData& iItem)
{
    const auto* text = static_cast<const WCHAR*>(PayloadOf(iItem));
    return text == nullptr ? std::string() : QBase::WideCharToUTF8(text);
}

void Store(QORJob& ioJob, const Item& iItem)
{
    if (!iItem)
        throw JobCallError("no memory for a data item");
    Expect(ioJob.SetJobData(iItem.Get()), "SetJobData");
}

} // namespace

void NameJobItems()
{
    Expect(QORJobData::AddName(W("SQL"), ItemSql), "AddName");
    Expect(QORJobData::AddName(W("Rows"), ItemRows), "AddName");
    Expect(QORJobData::AddName(W("Result"), ItemResult), "AddName");
}

void StoreSql(QORJob& ioJob, const std::string& iSql)
{
    constexpr int cStringItem = 0; // what the job makes; Init gives it the id that it is stored under
    QORJobData* made = nullptr;
    Expect(ioJob.CreateJobDataObject(cStringItem, &made), "CreateJobDataObject");
    const Item item(made);
    Expect(item->Init(ItemSql), "Init");
    Expect(static_cast<QORStringData*>(made)->Append(QBase::UTF8ToWideChar(iSql).c_str()), "Append");
    Store(ioJob, item);
}

std::string ReadSql(const QORJob& iJob) { return TextOf(*Find(iJob, ItemSql).Get()); }

void StoreRows(QORJob& ioJob, const Rows& iRows)
{
    const std::string bytes = ToBytes(iRows);
    std::unique_ptr<void, QBase::HeapDeleter> copy(QBase::HeapAllocate(bytes.size()));
    if (copy == nullptr)
        throw JobCallError("no memory for the rows");
    std::memcpy(copy.get(), bytes.data(), bytes.size());
    const Item item(new QORBinaryData(ItemRows, copy.get(), static_cast<unsigned>(bytes.size())));
    if (item)
        copy.release(); // the item's from here on
    Store(ioJob, item);
}

Rows ReadRows(const QORJob& iJob)
{
    const Item item = Find(iJob, ItemRows);
    unsigned size = 0;
    Expect(item->GetSaveObjSize(0, &size), "GetSaveObjSize");
    return FromBytes(std::string_view(static_cast<const char*>(PayloadOf(*item.Get())), size));
}

void StoreResult(QORJob& ioJob, const std::string& iText)
{
    Store(ioJob, Item(new QORTextFileData(ItemResult, QBase::UTF8ToWideChar(iText).c_str())));
}

std::string ReadResult(const QORJob& iJob) { return TextOf(*Find(iJob, ItemResult).Get()); }
