// The analysis of a query's rows: order, rank, shares, totals.
#pragma once

#include "ReportDefinition.h"
#include "Rows.h"

/// `iRows` as the report's SQL gives them: attributes first, then measures. Throws RequestError for a total
/// that no number can hold.
Rows Analyse(const ReportDefinition& iReport, Rows iRows);
