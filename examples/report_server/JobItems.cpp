#include "JobItems.h"

#include "JobCalls.h"

#include <cstring>
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

/// The task's, who lets it go.
const QORJobData& Find(QORJobTask& ioTask, EnumItem iId)
{
    QORJobData* found = nullptr;
    Expect(ioTask.GetContextDataX(iId, &found), "GetContextDataX");
    if (found == nullptr)
        throw JobCallError("the job has no item " + std::to_string(iId));
    return *found;
}

const void* PayloadOf(const QORJobData& iItem)
{
    const void* payload = nullptr;
    Expect(iItem.GetData(&payload), "GetData");
    return payload;
}

std::string TextOf(const QORJobData& iItem)
{
    const auto* text = static_cast<const QBase::WCHAR*>(PayloadOf(iItem));
    return text == nullptr ? std::string() : QBase::WideCharToUTF8(text);
}

} // namespace

void NameJobItems()
{
    Expect(QORJobData::AddName(QORJOB_W("SQL"), ItemSql), "AddName");
    Expect(QORJobData::AddName(QORJOB_W("Rows"), ItemRows), "AddName");
    Expect(QORJobData::AddName(QORJOB_W("Result"), ItemResult), "AddName");
}

void StoreSql(QORJobTask& ioTask, const std::string& iSql)
{
    constexpr int cStringItem = 0; // what the job makes; Init gives it the id that it is stored under
    QORJobData* made = nullptr;
    Expect(ioTask.CreateJobDataObject(cStringItem, &made), "CreateJobDataObject");
    const QBase::PtrI<QORJobData> item(made);
    Expect(item->Init(ItemSql), "Init");
    Expect(static_cast<QORStringData*>(made)->Append(QBase::UTF8ToWideChar(iSql).c_str()), "Append");
    Expect(ioTask.SetOutput(made), "SetOutput");
}

std::string ReadSql(QORJobTask& ioTask) { return TextOf(Find(ioTask, ItemSql)); }

void StoreRows(QORJobTask& ioTask, const Rows& iRows)
{
    const std::string bytes = ToBytes(iRows);
    void* const copy = QBase::HeapAllocate(bytes.size());
    if (copy == nullptr)
        throw JobCallError("no memory for the rows");
    std::memcpy(copy, bytes.data(), bytes.size());
    Expect(ioTask.SetOutput(ItemRows, copy, static_cast<unsigned>(bytes.size())), "SetOutput"); // takes the copy over
}

Rows ReadRows(QORJobTask& ioTask, const RowGate& iGate)
{
    const QORJobData& item = Find(ioTask, ItemRows);
    unsigned size = 0;
    Expect(item.GetSaveObjSize(0, &size), "GetSaveObjSize");
    return FromBytes(std::string_view(static_cast<const char*>(PayloadOf(item)), size), iGate);
}

void StoreResult(QORJobTask& ioTask, const std::string& iText)
{
    const QBase::PtrI<QORJobData> item(new QORTextFileData(ItemResult, QBase::UTF8ToWideChar(iText).c_str()));
    if (!item)
        throw JobCallError("no memory for the result");
    Expect(ioTask.SetOutput(item.Get()), "SetOutput");
}

std::string ReadResult(QORJobTask& ioTask) { return TextOf(Find(ioTask, ItemResult)); }
