// What the program says of itself: help, manual pages and candidates for completion, all of them from the declarations
// of the command line.
//
// The text of a subcommand (its footer) is paragraphs with an empty line between them. One whose first line ends with a
// colon and whose other lines are indented is a section of a manual page; indented lines are shown as they stand.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace NexthopRows {

/// What the columns of both types of row mean: sections, as above.
std::string columnsText();

/// The help of the app or of a subcommand, for CLI::App::formatter().
class HelpFormatter : public CLI::FormatterBase
{
public:
   std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
};

/// Writes to the folder, which must be there, the manual pages of section 1 in roff: one of the app, and one of each
/// subcommand that is not hidden. Throws BadInput when that fails.
void writeManualPages(const CLI::App& app, const std::string& folder);

/// What may stand in place of the last of the words that follow the program's name, of which the others are complete:
/// a line each, "WORD" or "WORD<tab>what it means". The line ":files" stands for the names of files.
std::string completions(const CLI::App& app, const std::vector<std::string>& words);

} // namespace NexthopRows
