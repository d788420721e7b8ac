// The generator of SQL from a report definition.
#pragma once

#include "ReportDefinition.h"
#include "Warehouse.h"

#include <string>

/// Both throw RequestError for a table or column that isn't there, or that doesn't suit the function.
/// The rows come in the order of the attributes.
std::string GenerateReportSql(const ReportDefinition& iReport, const Warehouse& iWarehouse);
std::string GenerateElementSql(const ElementDefinition& iElement, const Warehouse& iWarehouse);
