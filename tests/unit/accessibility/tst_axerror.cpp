// SPDX-License-Identifier: GPL-3.0-or-later
#include "AXError.h"
#include "TestSupport.h"

#include <QTest>

class AXErrorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    // The codes Vellumo produces (the others are declared but never printed)
    // and, past both ends of the table and positive, unknown ones.
    void namesEveryCode()
    {
        const std::pair<int, const char *> rows[] = {
            {0, "Success"},
            {-25200, "Failure"},
            {-25201, "IllegalArgument"},
            {-25202, "InvalidUIElement"},
            {-25204, "CannotComplete"},
            {-25205, "AttributeUnsupported"},
            {-25206, "ActionUnsupported"},
            {-25211, "APIDisabled"},
            {-25212, "NoValue"},
            {-25215, "<Unknown>"},
            {-25199, "<Unknown>"},
            {1, "<Unknown>"},
        };
        for (const auto &[code, name] : rows) {
            QCOMPARE(axErrorText(code), QStringLiteral("AXError.") + QLatin1String(name));
        }
    }
};

QTEST_GUILESS_MAIN(AXErrorTest)
#include "tst_axerror.moc"
