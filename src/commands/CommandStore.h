// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AICommand.h"

#include <QList>
#include <QString>

// The user's command list, kept in the settings (Settings::prompts), and
// the eight built-in commands. Nothing is cached: every operation reads the
// store afresh, so an edit in the settings shows in the next popup. No
// operation reports a failure; an unreadable list behaves as an empty one.
namespace CommandStore {

// The built-in commands in their fixed order. Built once per process, each
// with a fresh id.
const QList<AICommand> &defaultCommands();

QList<AICommand> loadStoredCommands();
void saveStoredCommands(const QList<AICommand> &commands);

// Appends every default whose exact title is not in the stored list yet;
// writes nothing when there is none to add.
void addDefaultCommands();

// The popup's list: stored commands, then defaults, the first command of each
// title winning; with a non-empty search, only the titles containing it in
// any letter case (the search text is not trimmed, prompts are not searched).
QList<AICommand> availableCommands(const QString &searchText);

} // namespace CommandStore
