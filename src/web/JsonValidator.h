// JsonValidator.h - the validator that every reply of the JSON API's commands carries.
//
// The replies are made from the preferences and the published libraries' album files (and
// from the server that makes them), so one tag covers them all: it changes when the
// preferences file or any published library's album file changes (identity, size,
// modification time), and at every start of the server. Any thread: it keeps no state but the
// start time, fixed on first use at start-up.
#pragma once

#include "protocol/Validators.h"

// The current validator; costs one stat per published library and one for the preferences.
// Never throws: a file that cannot be stat'ed counts as absent.
Validator JsonValidator();
