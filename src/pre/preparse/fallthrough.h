// Fall-through comments of the user's files. gcc takes a comment such as
// "FALLTHROUGH" or "fall through" directly in front of a case or default label as the
// sign that the statements before it are meant to fall through (-Wimplicit-fallthrough).
// Preprocessing drops comments; the scanner asks here, for each case or default label it
// meets, whether such a comment stood in front of it in the file, and writes it again.
#ifndef QUB_PREPARSE_FALLTHROUGH_H
#define QUB_PREPARSE_FALLTHROUGH_H

#include <cstdint>

// True for a comment text that gcc may take as a fall-through comment.
bool pre_is_fallthrough_comment(const char *text);

// The text of the fall-through comment that stands in front of a case or default label
// on that line of that file, or none. A file is read once, at its first question.
const char *pre_fallthrough_comment_at(const char *file, std::uint32_t line);

// Forgets what was read (the files may change between runs of a test).
void pre_fallthrough_forget();

#endif
