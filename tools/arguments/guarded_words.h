// The parser splits the word "[a,b]", which may be a file name, into two. With a byte in front, the
// word stays whole.

#ifndef ZEMO_TOOLS_ARGUMENTS_GUARDED_WORDS_H
#define ZEMO_TOOLS_ARGUMENTS_GUARDED_WORDS_H

#include <string>
#include <vector>

namespace tool {

// The words of main()'s arguments without the program's name, with the byte where it is needed.
std::vector<std::string> guarded(int argc, const char* const* argv);

// `word` as it was given.
std::string unguarded(std::string word);

// `message`, which may quote guarded words, as users must see it.
std::string withoutGuards(std::string message);

}  // namespace tool

#endif
