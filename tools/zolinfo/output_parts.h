#pragma once

#include "finding.h"
#include "json_writer.h"

#include <string>

namespace zol::tools {

// "FAILED   text\n         advice\n" for each.
std::string findingsText(const Findings& findings);

// The pair "findings".
void writeFindings(JsonWriter& json, const Findings& findings);

// "0x21"
std::string hexText(unsigned int number);

} // namespace zol::tools
