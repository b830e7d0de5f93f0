// SPDX-License-Identifier: GPL-3.0-or-later
#include "ContentView.h"

#include "APIError.h"
#include "CommandStore.h"
#include "CommandsList.h"
#include "ErrorMessageView.h"
#include "KeychainService.h"
#include "LoadingOverlay.h"
#include "NotConfiguredView.h"
#include "PopupStyle.h"
#include "PopupSupport.h"
#include "SearchField.h"
#include "VendorManager.h"

#include <QFuture>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QStackedWidget>
#include <QVBoxLayout>

const QString ContentView::noProviderMessage =
    QStringLiteral("No valid AI provider configured. Please configure an API key in settings.");

namespace {

bool isReturn(const QKeyEvent *event)
{
    return event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
}

} // namespace

ContentView::ContentView(QString text, VendorManager &vendorManager, KeychainService &keychain,
                         const platform::PopupSupport &popups, QWidget *parent)
    : QWidget(parent), m_text(std::move(text)), m_vendorManager(vendorManager),
      m_keychain(keychain), m_stack(new QStackedWidget(this)), m_commandsPage(new QWidget(m_stack)),
      m_searchField(new SearchField(m_commandsPage)),
      m_errorView(new ErrorMessageView(m_commandsPage)),
      m_commandsList(new CommandsList(m_commandsPage)),
      m_notConfigured(new NotConfiguredView(m_stack)), m_overlay(new LoadingOverlay(this))
{
    setObjectName(QStringLiteral("contentView"));
    setFocusPolicy(Qt::NoFocus);

    auto *pageLayout = new QVBoxLayout(m_commandsPage);
    pageLayout->setContentsMargins(0, 0, 0, 0);
    pageLayout->setSpacing(0);
    pageLayout->addWidget(m_searchField);
    pageLayout->addWidget(m_errorView);
    pageLayout->addWidget(m_commandsList, 1);
    m_errorView->hide();

    m_stack->addWidget(m_commandsPage);
    m_stack->addWidget(m_notConfigured);
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(0);
    layout->addWidget(m_stack);

    m_overlay->setCornerRadius(PopupStyle::panelRadius);
    m_overlay->hide();

    // Up, Down and Return are the root's, before the field sees them.
    m_searchField->lineEdit()->installEventFilter(this);

    connect(m_searchField, &SearchField::searchTextChanged, this,
            &ContentView::onSearchTextChanged);
    connect(m_commandsList, &CommandsList::commandSelected, this, &ContentView::executeCommand);
    connect(m_notConfigured, &NotConfiguredView::openSettingsRequested, this,
            &ContentView::openSettingsFromPanel);
    // A configuration changed in the settings shows here at once. Queued:
    // reading a configuration can itself announce a change.
    connect(&m_vendorManager, &VendorManager::defaultVendorChanged, this, &ContentView::rebuild,
            Qt::QueuedConnection);
    connect(&m_vendorManager, &VendorManager::configurationsChanged, this, &ContentView::rebuild,
            Qt::QueuedConnection);
    connect(&m_vendorManager, &VendorManager::keyPresenceChanged, this, &ContentView::rebuild,
            Qt::QueuedConnection);

    setTranslucent(popups.isCompositing());
    rebuild();
}

QString ContentView::searchText() const
{
    return m_searchField->searchText();
}

QList<AICommand> ContentView::filteredCommands() const
{
    const QString search = searchText();
    QList<AICommand> commands = CommandStore::availableCommands(search);
    if (!search.isEmpty() && commands.isEmpty()) {
        // Nothing matches: the search itself becomes a one-off instruction.
        commands.append(AICommand(QStringLiteral("💬 ") + search, search));
    }
    return commands;
}

bool ContentView::providerReady() const
{
    const KeychainService &keys = m_keychain;
    const std::optional<AIVendor> vendor = m_vendorManager.defaultVendor();
    if (!vendor) {
        // When the key store cannot tell, running a command says why.
        return !keys.problem().isEmpty();
    }
    return keys.presence(m_vendorManager.configuration(*vendor).vendor) !=
           KeychainService::Presence::missing;
}

bool ContentView::isShowingNotConfigured() const
{
    return m_stack->currentWidget() == m_notConfigured;
}

void ContentView::prepareFor(const QString &text)
{
    m_text = text;
    rebuild();
}

void ContentView::rebuild()
{
    const bool ready = providerReady();
    if (!ready) {
        m_stack->setCurrentWidget(m_notConfigured);
        // The panel has no text entry; the root takes the keys (Ctrl+Return).
        setFocus(Qt::PopupFocusReason);
        return;
    }
    const bool wasShowingPanel = isShowingNotConfigured();
    m_stack->setCurrentWidget(m_commandsPage);
    m_commandsList->setCommands(filteredCommands());
    m_commandsList->setSelectedIndex(m_selectedIndex);
    if (wasShowingPanel || !m_searchField->lineEdit()->hasFocus()) {
        m_searchField->setFocus(Qt::PopupFocusReason);
    }
}

void ContentView::onSearchTextChanged()
{
    m_selectedIndex = 0;
    setErrorMessage(std::nullopt);
    rebuild();
}

void ContentView::setSelectedIndex(int index)
{
    m_selectedIndex = index;
    m_commandsList->setSelectedIndex(index);
}

void ContentView::moveSelection(int delta)
{
    // No wrap-around: the first and last rows are the ends.
    const int count = int(filteredCommands().size());
    const int target = m_selectedIndex + delta;
    if (target >= 0 && target < count) {
        setSelectedIndex(target);
    }
}

void ContentView::runSelectedCommand()
{
    const QList<AICommand> commands = filteredCommands();
    // The store may have shrunk since the list was shown (an edit in the
    // settings); then there is nothing sensible to run.
    if (m_selectedIndex < 0 || m_selectedIndex >= commands.size()) {
        return;
    }
    executeCommand(commands.at(m_selectedIndex));
}

void ContentView::openSettingsFromPanel()
{
    if (m_openSettings) {
        m_openSettings();
    }
    if (m_onClose) {
        m_onClose();
    }
}

void ContentView::executeCommand(const AICommand &command)
{
    setLoading(true);
    setErrorMessage(std::nullopt);

    // The key may have gone since the list was shown.
    if (!providerReady()) {
        setLoading(false);
        setErrorMessage(noProviderMessage);
        return;
    }

    const QString prompt = composeCommandPrompt(command.prompt, m_text);
    // The run outlives the popup: an answer arriving after the popup has
    // gone still reaches the owner's callback, which decides what to do.
    const QPointer<ContentView> self(this);
    const TextReplaceCallback onTextReplace = m_onTextReplace;
    m_vendorManager.sendMessage(prompt).then(
        &m_vendorManager, [self, onTextReplace](QFuture<QString> future) {
            try {
                future.waitForFinished(); // rethrows the failure of the call
            } catch (...) {
                const QString sentence = errorText(std::current_exception());
                if (self) {
                    self->setLoading(false);
                    self->setErrorMessage(sentence);
                }
                return;
            }
            if (self) {
                self->setLoading(false);
            }
            if (future.resultCount() > 0 && onTextReplace) {
                onTextReplace(future.result());
            }
        });
}

void ContentView::setLoading(bool loading)
{
    m_isLoading = loading;
    m_overlay->setGeometry(panelRect());
    m_overlay->setVisible(loading);
    if (loading) {
        m_overlay->raise();
    }
}

void ContentView::setErrorMessage(const std::optional<QString> &message)
{
    m_errorMessage = message;
    m_errorView->setMessage(message.value_or(QString()));
    m_errorView->setVisible(message.has_value());
}

bool ContentView::handleKey(QKeyEvent *event)
{
    const int key = event->key();
    if (isShowingNotConfigured()) {
        if (isReturn(event) && event->modifiers().testFlag(Qt::ControlModifier)) {
            openSettingsFromPanel();
            return true;
        }
        return false;
    }
    switch (key) {
    case Qt::Key_Up:
        moveSelection(-1);
        return true;
    case Qt::Key_Down:
        moveSelection(+1);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        runSelectedCommand();
        return true;
    default:
        return false;
    }
}

bool ContentView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_searchField->lineEdit() && event->type() == QEvent::KeyPress) {
        return handleKey(static_cast<QKeyEvent *>(event));
    }
    return QWidget::eventFilter(watched, event);
}

void ContentView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        Q_EMIT escapePressed();
        event->ignore(); // on to the window, which closes a popup on Escape
        return;
    }
    if (handleKey(event)) {
        event->accept();
        return;
    }
    event->ignore();
}

QMargins ContentView::shadowMargins() const
{
    const int margin = m_translucent ? PopupStyle::shadowRadius : 0;
    return {margin, margin, margin, margin};
}

QSize ContentView::sizeHint() const
{
    const QMargins margins = shadowMargins();
    return PopupStyle::popupSize.grownBy(margins);
}

QRect ContentView::panelRect() const
{
    return rect().marginsRemoved(shadowMargins());
}

void ContentView::setTranslucent(bool translucent)
{
    m_translucent = translucent;
    setAttribute(Qt::WA_TranslucentBackground, translucent);
    layout()->setContentsMargins(shadowMargins());
    m_overlay->setGeometry(panelRect());
    updateGeometry();
    update();
}

void ContentView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // Every showing starts on the first row and re-reads the provider state
    // and the command list.
    m_selectedIndex = 0;
    rebuild();
}

void ContentView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    m_overlay->setGeometry(panelRect());
}

void ContentView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF panel = panelRect();
    const QPalette &colors = palette();
    if (!m_translucent) {
        // Without a compositor, corners cannot be cut: a crisp square panel
        // with a hairline edge instead.
        painter.fillRect(rect(), PopupStyle::panelColor(colors, false));
        QColor edge = PopupStyle::primaryTextColor(colors);
        edge.setAlphaF(0.22f);
        painter.setPen(QPen(edge, 1));
        painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
        return;
    }
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(rect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);

    // A soft shadow: rings around the panel that fade with distance.
    const int spread = PopupStyle::shadowRadius;
    painter.setBrush(Qt::NoBrush);
    for (int ring = 1; ring <= spread; ++ring) {
        const double fade = 1.0 - double(ring) / (spread + 1);
        QColor shade(0, 0, 0);
        shade.setAlphaF(float(PopupStyle::shadowOpacity * fade * fade * 0.45));
        painter.setPen(QPen(shade, 1));
        const qreal grow = ring - 0.5;
        painter.drawRoundedRect(panel.adjusted(-grow, -grow, grow, grow),
                                PopupStyle::panelRadius + grow, PopupStyle::panelRadius + grow);
    }

    QPainterPath path;
    path.addRoundedRect(panel, PopupStyle::panelRadius, PopupStyle::panelRadius);
    painter.fillPath(path, PopupStyle::panelColor(colors, true));
    QColor edge = PopupStyle::primaryTextColor(colors);
    edge.setAlphaF(0.12f);
    painter.setPen(QPen(edge, 1));
    painter.drawRoundedRect(panel.adjusted(0.5, 0.5, -0.5, -0.5), PopupStyle::panelRadius,
                            PopupStyle::panelRadius);
}
