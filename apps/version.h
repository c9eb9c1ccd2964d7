/// Which sources the programs are built from.
#ifndef APPS_VERSION_H
#define APPS_VERSION_H

/// The version and, where it is known, the commit: "1.0.0 (abc1234)", or "1.0.0 (abc1234-dirty)"
/// when files differ from it.
const char *versionText();

#endif
