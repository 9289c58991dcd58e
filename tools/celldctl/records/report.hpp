#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace celldctl {

/// One self-contained HTML page of what recordings (at.recording), journals and logs of the bus
/// (`monitor --json`) say, in any number; which one a file is, its first line tells. Text from a file stays
/// text on the page. Throws Failure that names the file.
std::string report_html(const std::vector<std::string>& files);

/// The page with "%DATA%" in place of its data.
std::string_view report_page();

} // namespace celldctl
