# SPDX-License-Identifier: Apache-2.0
# Makes a source file of a page: styles and scripts, first those that pages share, are put into it,
# and the whole becomes string literals of a length that every compiler takes.
foreach(part IN ITEMS html css js)
  file(READ "${PARTS}/page.${part}" ${part}_text)
endforeach()
foreach(part IN ITEMS css js)
  file(READ "${CMAKE_CURRENT_LIST_DIR}/plots.${part}" shared_${part}_text)
endforeach()
string(REPLACE "@STYLE@" "${shared_css_text}${css_text}" page "${html_text}")
string(REPLACE "@SCRIPT@" "${shared_js_text}${js_text}" page "${page}")
string(LENGTH "${page}" length)
set(literals "")
set(at 0)
while(at LESS length)
  string(SUBSTRING "${page}" ${at} 8000 piece)
  string(APPEND literals "R\"page(${piece})page\"\n")
  math(EXPR at "${at} + 8000")
endwhile()
file(WRITE "${OUT}" "// Made by page/embed.cmake.
#include <string_view>
namespace ${NAMESPACE} {
extern const std::string_view kPageTemplate;
const std::string_view kPageTemplate = ${literals};
}  // namespace ${NAMESPACE}
")
