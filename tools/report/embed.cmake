# SPDX-License-Identifier: Apache-2.0
# Makes a source file of the report's page: style and script are put into the page, and the whole
# becomes string literals of a length that every compiler takes.
foreach(part IN ITEMS html css js)
  file(READ "${PARTS}/page.${part}" ${part}_text)
endforeach()
string(REPLACE "@STYLE@" "${css_text}" page "${html_text}")
string(REPLACE "@SCRIPT@" "${js_text}" page "${page}")
string(LENGTH "${page}" length)
set(literals "")
set(at 0)
while(at LESS length)
  string(SUBSTRING "${page}" ${at} 8000 piece)
  string(APPEND literals "R\"page(${piece})page\"\n")
  math(EXPR at "${at} + 8000")
endwhile()
file(WRITE "${OUT}" "// Made by report/embed.cmake.
#include <string_view>
namespace steadywarp::tool {
extern const std::string_view kPageTemplate;
const std::string_view kPageTemplate = ${literals};
}  // namespace steadywarp::tool
")
