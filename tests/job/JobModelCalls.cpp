// What is done to a job and its model: drawn at random, and as text.
#include "tests/job/JobModelPair.h"

namespace
{

constexpr unsigned cCommonOperations = 4;

std::string TextOf(const Arguments& iArguments, const std::string& iWord)
{
    const ModelStep& step = iArguments.mStep;
    const std::map<std::string, std::string> cValues = {
        {"record", JobModelState::Join(step.mId, " thread ", step.mThread, " unit ", step.mUnit, " '", step.mKey, "'")},
        {"step", std::to_string(step.mId)},
        {"unit", std::to_string(iArguments.mUnit)},
        {"status", std::to_string(iArguments.mStatus)},
        {"task", std::to_string(iArguments.mTask)},
        {"number", std::to_string(iArguments.mNumber)},
        {"item", std::to_string(iArguments.mItem)},
        {"governor", std::to_string(iArguments.mGovernor)},
        {"bytes", std::to_string(iArguments.mBytes)},
        {"flag", std::to_string(iArguments.mbFlag)},
        {"code", JobModelState::Hex(iArguments.mError)},
    };
    const auto value = cValues.find(iWord);
    return value == cValues.end() ? iWord : iWord + " " + value->second;
}

const Operation& Named(const std::string& iName)
{
    return *std::find_if(cOperations.begin(), cOperations.end(), [&](const Operation& iOperation) {
        return std::string_view(iOperation.mName).substr(0, iName.size()) == iName;
    });
}

Arguments PickArguments(Random& ioRandom, const JobModel& iModel)
{
    Arguments arguments;
    const bool bCurrent = !iModel.mTodo.empty() && ioRandom() % 3 == 0;
    arguments.mStep.mId = bCurrent ? iModel.mTodo.front().mId
                                   : Pick(ioRandom, {2, 2, 3, 4, 4, 5, 10, 11, 13, 14, 19, 20, 26, 39, 39, 0, 40});
    if (ioRandom() % 4 == 0)
        arguments.mStep.mThread = Pick<DWORD>(ioRandom, {0, cSomeThread});
    if (ioRandom() % 4 == 0)
        arguments.mStep.mUnit = Pick(ioRandom, {-1, 0, 7});
    arguments.mStep.mKey = Pick(ioRandom, {"", "chapter", "verse"});
    arguments.mUnit = Pick(ioRandom, {-1, 0, 0, 1, 7, 8});
    arguments.mStatus =
        ioRandom() % 2 == 0 ? static_cast<int>(ioRandom() % 23) : Pick(ioRandom, {0, 1, 2, 4, 5, 8, 17, 20, 20});
    arguments.mTask = ioRandom() % 3 == 0 ? iModel.mTask : Pick(ioRandom, {0, 1, 2});
    arguments.mNumber = Pick(ioRandom, {0, 2, 4, 9, 0x800, -1});
    if (!iModel.mExecuting.empty() && ioRandom() % 4 == 0)
        arguments.mNumber = iModel.mExecuting.front();
    arguments.mItem = static_cast<int>(ioRandom() % (cItemIds.size() + 1)) - 1;
    arguments.mGovernor = Pick(ioRandom, {0, 0, 1});
    arguments.mBytes = Pick<std::uint64_t>(ioRandom, {0, 1, 5243, 3 << 19, 3 << 20, 3 << 20, 4 << 20, ~0ULL});
    arguments.mbFlag = ioRandom() % 3 != 0;
    arguments.mError = static_cast<HRESULT>(Pick(ioRandom, {0x8004308Du, 0x80044637u, 0x8004FFFFu}));
    return arguments;
}

} // namespace

std::string Call::Text() const
{
    const std::string name = mpOperation->mName;
    const std::size_t open = name.find('(');
    const std::size_t close = name.find(')');
    std::string text;
    std::istringstream words(name.substr(open + 1, close - open - 1));
    for (std::string word; std::getline(words >> std::ws, word, ',');)
        text += (text.empty() ? "" : ", ") + TextOf(mArguments, word);
    text = name.substr(0, open + 1) + text + name.substr(close);
    if (mElapsed > 10)
        text += ", " + std::to_string(mElapsed) + " ms later";
    return mFailing == 0 ? text : text + ", without memory for the allocation " + std::to_string(mFailing);
}

JobModel PickJob(Random& ioRandom)
{
    JobModel model;
    model.mType = Pick(ioRandom, {0, 1, 2, 2, 3, 5, 6, 7});
    model.mbContext = ioRandom() % 4 != 0;
    model.mbInstance = ioRandom() % 2 == 0;
    model.mbDelivery = ioRandom() % 3 == 0;
    model.mbMessage = ioRandom() % 4 != 0;
    model.mFailingCall = Pick(ioRandom, {0, 0, 0, 1, 2, 3});
    model.mKind = Pick(ioRandom, {0, 7, 8, 9});
    model.mGovernors[0].mbExempt =
        model.mbContext && model.mbInstance && model.mFailingCall != 1 && (model.mKind == 7 || model.mKind == 9);
    return model;
}

Favourites PickFavourites(Random& ioRandom)
{
    Favourites favourites;
    for (const Operation*& favourite : favourites)
        favourite = &cOperations[ioRandom() % cOperations.size()];
    return favourites;
}

Call PickCall(Random& ioRandom, const JobModel& iModel, const Favourites& iFavourites)
{
    const unsigned choice = static_cast<unsigned>(ioRandom());
    const std::size_t count = choice % 3 == 0 ? cCommonOperations : cOperations.size();
    Call call{choice % 3 == 1 ? iFavourites[ioRandom() % iFavourites.size()] : &cOperations[ioRandom() % count],
              PickArguments(ioRandom, iModel), 0, Pick(ioRandom, {10, 10, 10, 600'000})};
    if (ioRandom() % 6 == 0)
        call.mFailing = static_cast<int>(ioRandom() % 4) + 1;

    // Where chance alone would seldom go on as a job does.
    if (iModel.mStatus == 8 && choice / 3 % 4 == 0)
    {
        call.mpOperation = &Named("SetStatus");
        call.mArguments.mStatus = 13; // follows 8 only
    }
    if (iModel.mStatus == 13 && choice / 3 % 2 == 0)
        call.mpOperation = &Named(choice / 3 % 4 == 0 ? "GetCurrentStepIdToRun" : "GetCurrentStepId(");
    if (iModel.mStatus == 20 && choice / 3 % 4 == 0)
    {
        call.mpOperation = &Named("SetStepFinish");
        if (choice / 3 % 8 == 0)
            call.mArguments.mStep.mId = 4;
    }
    return call;
}
