// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "APIError.h"
#include "VendorConfig.h"

#include <QFuture>
#include <QStringList>

// The providers' live model lists. Model names age faster than the built-in
// lists, so the picker offers the built-in models followed by whatever the
// provider lists today.
namespace ModelLists {

// The ids the provider lists for the configuration's host, with the key
// given, following every page. Gemini keeps only models that can generate
// content, without their "models/" prefix. Fails with APIError.
QFuture<QStringList> fetch(const VendorConfig &config, const QString &key);

// builtIn, then the live ids not already in it, in the provider's order.
QStringList merge(const QStringList &builtIn, const QStringList &live);

// Why only the built-in list is offered, in one sentence.
QString failureSentence(AIVendor vendor, const QString &reason);

} // namespace ModelLists
