// base64.h - decoding the user name and password of an HTTP Basic "Authorization" header.
#pragma once

#include <string>

// Decodes input (the base64 text after "Basic ") and splits the result at its first ":" into
// user and password; without a ":" the whole result is the user and the password is empty.
// Strict about the alphabet and padding ("=" only as the last one or two characters of a
// group that needs it), lenient about an unpadded final group of one to three characters,
// which is dropped. Never throws: any undecodable input leaves both user and password empty.
void decodeAuthentication(const std::string& input, std::string& user, std::string& password);
