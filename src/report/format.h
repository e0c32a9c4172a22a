// Helpers that the output formats share: escaping, the words for what an item missed.
#ifndef QUB_REPORT_FORMAT_H
#define QUB_REPORT_FORMAT_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "report.h"

// Text as valid UTF-8: bytes that do not form UTF-8 become U+FFFD.
std::string format_utf8(std::string_view text);
// A JSON string literal, quotes included.
std::string format_json_string(std::string_view text);
// Text for HTML and XML content and attribute values.
std::string format_xml_escape(std::string_view text);

// What an item did not cover, one short phrase per gap ("false never taken",
// "path 1 (T && F) never taken", ...); empty when it covered everything it counts for.
std::vector<std::string> format_item_gaps(const report &r, const report_item &item);

// How an item is named in a report: the statement with its text, "if (a > 0)",
// "return x", "case 2".
std::string format_item_title(const report_item &item);

// What one condition of a multicondition lacks under one rule; empty when shown.
std::string format_condition_gap(const report_multi &m, const report_condition &c, mcdc_rule rule);
// The pair that shows a condition, "paths 2 (T && T) and 0 (F && _)".
std::string format_condition_pair(const report_multi &m, const report_condition &c, mcdc_rule rule);

// "covered/total pct%" or "-" for a measure with nothing to count.
std::string format_cell(const report_measure &m);

// The measures that have anything to count in r (a column per measure in the tables).
std::vector<int> format_present_measures(const report &r);

// Writes all of text to f; false on a write error.
bool format_write(std::FILE *f, std::string_view text);

#endif
