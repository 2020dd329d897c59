// The names under which secrets stand, in command lines, settings and environments.
//
// A name is taken apart into words at whatever is no letter, such as `_`, `-`, `.` and `/`, and
// where a capital begins one; letter case is ignored. It is a secret's when its last word is
//
//   password, passwd, pwd, passphrase, secret, credential, authorization, or ends like one of
//   them, as `PGPASSWORD` does;
//   bearer, cookie, jwt, pat (a personal access token);
//   token, unless the word before it says that it is one of a language model's, such as `pad`, or
//   an amount, such as `per`;
//   key, behind a word that locks something, such as `api`, `access` or `private`; in the name of
//   a variable, all in capitals, behind any word.
//
// `--max-tokens`, `--tokenizer`, `--key-padding`, `--token-file` end in other words and are left.
#pragma once

#include <string_view>

namespace tavrine {

/// Whether what stands under this name is a secret.
bool isSecretName(std::string_view name);

/// Whether a value only says yes, no or none, which is nobody's secret: `--use-auth-token True`.
bool isAnswer(std::string_view value);

/// Whether a character belongs to a word. Letters of other alphabets do, so that no part of their
/// words is taken for one.
bool isLetter(char c);

}  // namespace tavrine
