// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

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

} // namespace Network
