#pragma once

#include <QString>

/// Key of the text for a state from -8 to -2 in which the server keeps a user out; empty for any other.
QString deviceStateKey(qint64 state);
