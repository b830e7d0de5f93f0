// SPDX-License-Identifier: GPL-3.0-or-later
#include "AXError.h"
#include "TestSupport.h"

#include <QTest>

class AXErrorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    // The codes Vellumo produces (the others are declared but never printed)
    // and the ends of the table.
    void namesEveryCode_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("text");
        QTest::addRow("0") << 0 << "AXError.Success";
        QTest::addRow("-25200") << -25200 << "AXError.Failure";
        QTest::addRow("-25201") << -25201 << "AXError.IllegalArgument";
        QTest::addRow("-25202") << -25202 << "AXError.InvalidUIElement";
        QTest::addRow("-25204") << -25204 << "AXError.CannotComplete";
        QTest::addRow("-25205") << -25205 << "AXError.AttributeUnsupported";
        QTest::addRow("-25206") << -25206 << "AXError.ActionUnsupported";
        QTest::addRow("-25211") << -25211 << "AXError.APIDisabled";
        QTest::addRow("-25212") << -25212 << "AXError.NoValue";
        QTest::addRow("below the table") << -25215 << "AXError.<Unknown>";
        QTest::addRow("above the table") << -25199 << "AXError.<Unknown>";
        QTest::addRow("positive") << 1 << "AXError.<Unknown>";
    }

    void namesEveryCode()
    {
        QFETCH(int, code);
        QFETCH(QString, text);
        QCOMPARE(axErrorText(code), text);
    }
};

QTEST_GUILESS_MAIN(AXErrorTest)
#include "tst_axerror.moc"
