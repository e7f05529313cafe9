// How an enumeration stands in archives: as its integer.
#pragma once

#include "composition/enums.h"

namespace ksn {

// A reader takes what lies between the first and the last of the words, and `otherwise` for anything else.
template <class A, class E>
void put_word(A& ar, const char* key, E& value, E otherwise) {
  const auto words = words_of<E>();
  ar.ranged(key, value, words.front().value, words.back().value, static_cast<int>(otherwise));
}

}  // namespace ksn
