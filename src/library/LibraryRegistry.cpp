// LibraryRegistry.cpp - the library registry and its facade.
#include "library/LibraryRegistry.h"

#include "server/PreferenceStore.h"

bool libInit() {
    return true;
}

void libTerm() {}

bool libSync() {
    return CFPreferencesAppSynchronize(appID);
}
