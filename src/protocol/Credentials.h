// Credentials.h - checking the "Authorization" header of a request against the configured pair.
#pragma once

#include <string>
#include <string_view>

// Whether a and b hold the same bytes. Takes the same time for any two strings of the given
// lengths, wherever they differ: every byte up to the longer length is looked at.
bool SameBytesInConstantTime(std::string_view a, std::string_view b);

// Whether header (the "Authorization" value as text, or null when the request has none) names
// user and password by the Basic scheme. The scheme is matched without regard to case and is
// followed by one space; the rest is decoded as decodeAuthentication does (undecodable text is an
// empty user and password). User and password are both compared, each in constant time.
bool BasicCredentialsMatch(const std::string* header, const std::string& user,
                           const std::string& password);
