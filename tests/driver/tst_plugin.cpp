// The plug-in library, loaded as a runtime loads it.
#include "drivers/driver_interface.h"

#include <QtCore/QLibrary>
#include <QtCore/QPluginLoader>
#include <QtCore/QScopedPointer>
#include <QtTest/QtTest>

class TestPlugin : public QObject
{
    Q_OBJECT

private slots:
    void givesOneRootObject()
    {
        QPluginLoader loader(QLatin1String(KV_PLUGIN_FILE));
        QObject *root = loader.instance();
        QVERIFY2(root, qPrintable(loader.errorString()));
        QCOMPARE(root->metaObject()->className(), "DriverKV_L20V_HostLink");
        DriverInterface *driver = qobject_cast<DriverInterface *>(root);
        QVERIFY(driver);
        QVERIFY(driver->getThisObject() == root);
        QCOMPARE(driver->name(), QString::fromLatin1("KEYENCE KV-L20V Host Link"));

        typedef QObject *(*Instance)();
        const Instance instance = reinterpret_cast<Instance>(
            QLibrary::resolve(QLatin1String(KV_PLUGIN_FILE), "qt_plugin_instance"));
        QVERIFY(instance);
        QVERIFY(instance() == root);
        QVERIFY(!root->parent());
        delete root;
        QScopedPointer<QObject> next(instance());
        QVERIFY(qobject_cast<DriverInterface *>(next.data()));
    }

    void carriesThePanelsVerificationText()
    {
#if QT_VERSION >= 0x050000
        typedef const char *(*Query)();
        const Query query = reinterpret_cast<Query>(
            QLibrary::resolve(QLatin1String(KV_PLUGIN_FILE), "qt_plugin_query_verification_data"));
        QVERIFY(query);
        QCOMPARE(query(), "pattern=QT_PLUGIN_VERIFICATION_DATA\nversion=4.8.6\ndebug=false\n"
                          "buildkey=arm linux g++-4 no-pkg-config");
#else
        QSKIP("with Qt 4 the text states the Qt that the plug-in is built with", SkipSingle);
#endif
    }
};

QTEST_APPLESS_MAIN(TestPlugin)
#include "tst_plugin.moc"
