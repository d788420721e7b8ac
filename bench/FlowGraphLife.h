// A chain of six nodes in a flow graph of oneTBB, which keeps neither times nor status nor history.
#pragma once

#include "Workloads.h"

#include <tbb/flow_graph.h>

#include <array>
#include <optional>

class FlowGraphLife
{
public:
    void Begin()
    {
        mGraph.emplace();
        for (std::size_t i = 0; i < mNodes.size(); ++i)
        {
            mNodes[i].emplace(*mGraph, [](const tbb::flow::continue_msg&) {});
            if (i > 0)
                tbb::flow::make_edge(*mNodes[i - 1], *mNodes[i]);
        }
    }

    void RunAndEnd()
    {
        mNodes.front()->try_put(tbb::flow::continue_msg());
        mGraph->wait_for_all();
        for (auto& node : mNodes)
            node.reset();
        mGraph.reset();
    }

private:
    using Node = tbb::flow::continue_node<tbb::flow::continue_msg>;

    std::optional<tbb::flow::graph> mGraph;
    std::array<std::optional<Node>, cLifeSteps.size()> mNodes;
};
