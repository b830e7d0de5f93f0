// SPDX-License-Identifier: GPL-3.0-or-later
#include "ModelLists.h"

#include "AnthropicAPIClient.h"
#include "KeychainService.h"
#include "ProviderRequest.h"

#include <QPromise>
#include <QUrlQuery>
#include <memory>

namespace ModelLists {

namespace {

// A provider that keeps answering "more" must not keep us paging for ever.
constexpr int maxPages = 50;

struct Page {
    QStringList ids;
    QString next; // the cursor of the next page; empty when this was the last
};

struct Pager {
    VendorConfig config;
    QString key;
    QStringList ids;
    int pages = 0;
    QPromise<QStringList> promise;
};

std::optional<QNetworkRequest> pageRequest(const Pager &pager, const QString &cursor)
{
    QString text = pager.config.baseURL() + QStringLiteral("/models");
    if (pager.config.vendor == AIVendor::gemini) {
        // The key unencoded, as the generate request carries it.
        text += QStringLiteral("?key=") + pager.key;
    }
    auto url = ProviderRequest::endpointURL(text);
    if (!url) {
        return std::nullopt;
    }
    if (!cursor.isEmpty()) {
        QUrlQuery query(*url);
        query.addQueryItem(pager.config.vendor == AIVendor::gemini ? QStringLiteral("pageToken")
                                                                   : QStringLiteral("after_id"),
                           QString::fromLatin1(QUrl::toPercentEncoding(cursor)));
        url->setQuery(query);
    }
    QNetworkRequest request = ProviderRequest::makeRequest(*url, false);
    switch (pager.config.vendor) {
    case AIVendor::openai:
        request.setRawHeader("Authorization", QByteArrayLiteral("Bearer ") + pager.key.toUtf8());
        break;
    case AIVendor::anthropic:
        request.setRawHeader("x-api-key", ProviderRequest::headerValue(pager.key));
        request.setRawHeader("anthropic-version", AnthropicAPIClient::apiVersion);
        break;
    case AIVendor::gemini:
        break;
    }
    return request;
}

Page readPage(AIVendor vendor, const QByteArray &body)
{
    using namespace ProviderRequest;
    const QJsonObject object = parseObject(body);
    Page page;
    switch (vendor) {
    case AIVendor::openai:
        for (const auto &entry : requireArray(object, QStringLiteral("data"))) {
            page.ids << requireString(requireObject(entry, QStringLiteral("data[]")),
                                      QStringLiteral("id"));
        }
        break;
    case AIVendor::anthropic:
        for (const auto &entry : requireArray(object, QStringLiteral("data"))) {
            page.ids << requireString(requireObject(entry, QStringLiteral("data[]")),
                                      QStringLiteral("id"));
        }
        if (object.value(QLatin1String("has_more")).toBool() && !page.ids.isEmpty()) {
            const QString last = object.value(QLatin1String("last_id")).toString();
            page.next = last.isEmpty() ? page.ids.last() : last;
        }
        break;
    case AIVendor::gemini:
        for (const auto &entry : requireArray(object, QStringLiteral("models"))) {
            const QJsonObject model = requireObject(entry, QStringLiteral("models[]"));
            const QJsonArray methods =
                model.value(QLatin1String("supportedGenerationMethods")).toArray();
            if (!methods.contains(QStringLiteral("generateContent"))) {
                continue;
            }
            QString name = requireString(model, QStringLiteral("name"));
            if (name.startsWith(QLatin1String("models/"))) {
                name.remove(0, 7);
            }
            page.ids << name;
        }
        page.next = object.value(QLatin1String("nextPageToken")).toString();
        break;
    }
    return page;
}

void fetchPage(const std::shared_ptr<Pager> &pager, const QString &cursor)
{
    const auto request = pageRequest(*pager, cursor);
    if (!request) {
        pager->promise.setException(ProviderRequest::endpointError(pager->config.baseURL()));
        pager->promise.finish();
        return;
    }
    ++pager->pages;
    ProviderRequest::perform(*request, QByteArrayLiteral("GET"), {}, pager->key)
        .then(QtFuture::Launch::Sync,
              [pager, cursor](const QByteArray &body) {
                  const Page page = readPage(pager->config.vendor, body);
                  for (const QString &id : page.ids) {
                      if (!pager->ids.contains(id)) {
                          pager->ids << id;
                      }
                  }
                  if (page.next.isEmpty() || page.next == cursor || pager->pages >= maxPages) {
                      pager->promise.addResult(pager->ids);
                      pager->promise.finish();
                  } else {
                      fetchPage(pager, page.next);
                  }
              })
        .onFailed([pager](const APIError &error) {
            pager->promise.setException(error);
            pager->promise.finish();
        });
}

} // namespace

QFuture<QStringList> fetch(const VendorConfig &config, const QString &key)
{
    if (!KeychainService::isAcceptableKey(key)) {
        return ProviderRequest::failedFuture<QStringList>(APIError::httpError(401));
    }
    auto pager = std::make_shared<Pager>(Pager{config, key, {}, 0, {}});
    QFuture<QStringList> future = pager->promise.future();
    pager->promise.start();
    fetchPage(pager, QString());
    return future;
}

QStringList merge(const QStringList &builtIn, const QStringList &live)
{
    QStringList offered = builtIn;
    for (const QString &id : live) {
        if (!offered.contains(id)) {
            offered << id;
        }
    }
    return offered;
}

QString failureSentence(AIVendor vendor, const QString &reason)
{
    QString why = reason;
    while (why.endsWith(u'.')) {
        why.chop(1);
    }
    return QStringLiteral("Could not load the model list from %1 (%2), so only the built-in "
                          "models are offered.")
        .arg(AIVendors::displayName(vendor), why);
}

} // namespace ModelLists
