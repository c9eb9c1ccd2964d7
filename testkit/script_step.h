/// @file
/// One call of a driver to its channel, as text: what scripts and transcripts consist of.
#ifndef TESTKIT_SCRIPT_STEP_H
#define TESTKIT_SCRIPT_STEP_H

#include <QtCore/QByteArray>
#include <QtCore/QList>

class QVariant;

/// | text     | call                                                           |
/// |----------|----------------------------------------------------------------|
/// | `!`      | `control` with `DiscardInput` and the integer 0                |
/// | `?`      | any other `control`                                            |
/// | `>LINE`  | a write of LINE and the line end                               |
/// | `>>DATA` | a write of just these bytes                                    |
/// | `<LINE`  | a read, or several, that give LINE and the line end            |
/// | `<<DATA` | a read, or several, that give just these bytes                 |
/// | `~`      | a read that gives nothing                                      |
///
/// In LINE and DATA `{CR}`, `{LF}`, `{NUL}` and two hexadecimal digits in braces, such as `{7C}`,
/// stand for one byte. Steps are separated by `|`.
struct ScriptStep {
    char direction;   ///< '>', '<', '!', '?' or '~'; 0 for a text of no known form
    QByteArray bytes; ///< that were written or read
};

/// Reads one step.
/// @param text    as in the table
/// @param lineEnd what ends a line; may be empty
ScriptStep parseStep(const QByteArray &text, const QByteArray &lineEnd);

/// The text of a step; equal steps have equal texts.
QByteArray stepText(const ScriptStep &step, const QByteArray &lineEnd);

/// The step of a `control` call, '!' or '?'.
ScriptStep controlStep(int code, const QVariant &value);

/// Texts of steps with `|` between them.
QByteArray joinedSteps(const QList<QByteArray> &texts);

#endif
