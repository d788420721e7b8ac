// A job beside its model: random operations, now and then without memory, and all that can be seen after each. What
// goes wrong is shown as the shortest sequence in which it does.
#include "tests/job/JobModelPair.h"
#include "tests/support/Soak.h"

namespace
{

constexpr unsigned cSequences = 3000;
constexpr std::size_t cLength = 30;

Texts LinesOf(const std::string& iText)
{
    Texts lines;
    std::istringstream text(iText);
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

/// What stands between the lines that both begin with and those that both end with.
std::string Difference(const std::string& iSeen, const std::string& iExpected)
{
    Texts seen = LinesOf(iSeen);
    Texts expected = LinesOf(iExpected);
    while (!seen.empty() && !expected.empty() && seen.back() == expected.back())
    {
        seen.pop_back();
        expected.pop_back();
    }
    const auto begin = std::mismatch(seen.begin(), seen.end(), expected.begin(), expected.end());
    std::string difference;
    for (auto line = begin.first; line != seen.end(); ++line)
        difference += "  the job:   " + *line + '\n';
    for (auto line = begin.second; line != expected.end(); ++line)
        difference += "  the model: " + *line + '\n';
    return difference;
}

std::string TextOf(const Texts& iLines)
{
    std::string text;
    for (const std::string& line : iLines)
        text += line + '\n';
    return text;
}

class JobBesideModel : public JobTest
{
protected:
    /// Empty, or what the job and its model say differently.
    std::string Run(const JobModel& iBegin, const std::vector<Call>& iCalls)
    {
        Pair pair(iBegin);
        TakeLog();
        std::string difference;
        for (std::size_t i = 0; i < iCalls.size() && difference.empty(); ++i)
            difference = Do(pair, iCalls[i]);
        return difference.empty() ? End(pair) : difference;
    }

    void RunSequence(unsigned iSeed)
    {
        Random random(iSeed);
        const JobModel begin = PickJob(random);
        const Favourites favourites = PickFavourites(random);
        std::vector<Call> calls;
        std::string difference;
        {
            Pair pair(begin);
            TakeLog();
            while (calls.size() < cLength && difference.empty())
            {
                calls.push_back(PickCall(random, pair.mModel, favourites));
                difference = Do(pair, calls.back());
            }
            if (difference.empty())
                difference = End(pair);
        }
        mOperations += calls.size();
        if (!difference.empty())
            ADD_FAILURE() << "seed " << iSeed << '\n' << Shortest(begin, calls);
    }

    std::uint64_t mOperations = 0;

private:
    /// Leaves calls out as long as that leaves a difference, and gives the others memory.
    std::string Shortest(const JobModel& iBegin, std::vector<Call> iCalls)
    {
        std::string difference = Run(iBegin, iCalls);
        for (bool bShorter = true; std::exchange(bShorter, false);)
            for (std::size_t i = iCalls.size(); i-- > 0;)
            {
                std::vector<Call> fewer = iCalls;
                if (fewer[i].mFailing != 0)
                    fewer[i].mFailing = 0;
                else
                    fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
                if (const std::string left = Run(iBegin, fewer); !left.empty())
                {
                    difference = left;
                    iCalls = fewer;
                    bShorter = true;
                }
            }
        std::string text =
            JobModelState::Join("  of type ", iBegin.mType, ", with context ", iBegin.mbContext, ", instance ",
                                iBegin.mbInstance, " of kind ", iBegin.mKind, ", delivery ", iBegin.mbDelivery,
                                ", message ", iBegin.mbMessage, ", failing call ", iBegin.mFailingCall, '\n');
        for (std::size_t i = 0; i < iCalls.size(); ++i)
            text += "  " + std::to_string(i + 1) + ". " + iCalls[i].Text() + '\n';
        return text + difference;
    }

    std::string Do(Pair& ioPair, const Call& iCall)
    {
        const Operation& operation = *iCall.mpOperation;
        JobModel& model = ioPair.mModel;
        model.mNow += iCall.mElapsed;
        model.mThreadTime += 7;
        SetTimes(model);
        model.mLines.clear();
        model.mCalls.clear();
        model.mItemCalls.clear();

        Result result;
        Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, iCall.mFailing);
        operation.mOnJob(ioPair, iCall.mArguments, result);
        const bool bMetFault =
            iCall.mFailing != 0 && Builtin::Faults::GetCallsToFault(Builtin::Faults::EnumFault::Allocation) == 0;
        Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 0);
        std::erase(ioPair.mContext.mCalls, "Release");
        std::string seen = TextOf(ioPair.mContext.mCalls) + TextOf(ioPair.mStrangers.mCalls);
        const std::string lines = result.Text() + '\n' + TextOf(TakeLog());

        Result expected;
        JobModel after = model;
        operation.mOnModel(after, iCall.mArguments, expected);
        const bool bWithoutMemory = bMetFault && FAILED(result.mCode) && result.mCode != expected.mCode;
        if (bWithoutMemory)
            operation.mWithoutMemory(model, result.mCode);
        else
            model = std::move(after);
        std::string wanted = TextOf(model.mCalls) + TextOf(model.mItemCalls);
        if (!bWithoutMemory)
        {
            seen += lines;
            wanted += expected.Text() + '\n' + TextOf(model.mLines);
        }
        seen += TextOf(ioPair);
        wanted += ::TextOf(model);
        TakeLog();
        return seen == wanted ? "" : Difference(seen, wanted);
    }

    std::string End(Pair& ioPair)
    {
        JobModel& model = ioPair.mModel;
        model.mLines.clear();
        model.mCalls.clear();
        model.mItemCalls.clear();
        model.End();
        ioPair.mpJob = {};
        std::erase(ioPair.mContext.mCalls, "Release");
        std::string seen = TextOf(TakeLog()) + TextOf(ioPair.mContext.mCalls) + TextOf(ioPair.mStrangers.mCalls);
        std::string wanted = TextOf(model.mLines) + TextOf(model.mCalls) + TextOf(model.mItemCalls);
        for (const int governor : {0, 1})
        {
            const bool bInContext = model.mbContext && model.mContextGovernor == governor;
            seen += JobModelState::Join("holders ", ioPair.mGovernors[static_cast<std::size_t>(governor)].use_count());
            wanted += JobModelState::Join("holders ", bInContext ? 2 : 1);
        }
        return seen == wanted ? "" : Difference(seen, wanted);
    }
};

} // namespace

TEST_F(JobBesideModel, DoesAsItsModelDoes)
{
    Soak soak(cSequences);
    while (soak.HasNext())
        RunSequence(soak.TakeSeed());
    soak.Report("sequences", mOperations);
}
