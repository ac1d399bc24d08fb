#ifndef WEB_ANSWERS_PAGE_H_
#define WEB_ANSWERS_PAGE_H_

#include <span>

#include "tools/support/embedded_file.h"

/// One file, "answers.html": a page that needs no other, with kAnswersMark where the answers are to
/// stand, as an array in JSON that has no "<".
std::span<const EmbeddedFile> AnswersPage();

inline constexpr char kAnswersMark[] = "@ANSWERS@";

#endif  // WEB_ANSWERS_PAGE_H_
