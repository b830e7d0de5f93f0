// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFuture>
#include <QSslConfiguration>
#include <chrono>

class QNetworkAccessManager;

// The one network access object of the process, shared by every provider
// call. It lives on the main thread and belongs to the application object.
namespace Network {

inline constexpr std::chrono::milliseconds transferTimeout{60000};

// Created on first use; the main thread only.
QNetworkAccessManager &accessManager();

// TLS as every provider request uses it: peers always verified, against the
// system's authorities plus the PEM file named by VELLUMO_CA_FILE when that is
// set (corporate proxies, self-hosted gateways, tests). The file is read
// again whenever its name or modification time changes.
QSslConfiguration tlsConfiguration();

// Loads the system's authorities and the TLS backend on a pool thread. The
// first tlsConfiguration() would otherwise do it on the UI thread, which
// takes a sixth of a second or more; called at start, the first request
// (the settings' model list, a command) finds them loaded. Resolves when done.
QFuture<void> preloadInBackground();

} // namespace Network
