#include "files.h"
#include "platform/manualclock.h"
#include "ui/alertpresenter.h"
#include "ui/iconprovider.h"

#include <QDir>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QIcon>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QRasterWindow>
#include <QTemporaryDir>
#include <QTest>

using namespace bellwick;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using OptionalText = std::optional<QString>;
using Appearance = AlertPresenter::Appearance;

namespace {

const QDateTime now(QDate(2026, 3, 2), QTime(9, 50), Qt::UTC);
const OptionalText zoomLink(u"https://us02web.zoom.us/j/84512345678"_s);

CalendarEvent::Fields fields(const QString &title, qint64 secondsToStart, OptionalText location = {},
                             OptionalText notes = {})
{
    const QDateTime start = now.addSecs(secondsToStart);
    return {.providerID = u"demo"_s,
            .originalID = u"1"_s,
            .title = title,
            .notes = std::move(notes),
            .location = std::move(location),
            .startDate = start,
            .endDate = start.addSecs(1800),
            .calendarName = u"Work"_s};
}

QQuickItem *findItem(QQuickItem *item, const QString &name)
{
    if (item->objectName() == name) {
        return item;
    }
    const QList<QQuickItem *> children = item->childItems();
    for (QQuickItem *child : children) {
        if (QQuickItem *found = findItem(child, name)) {
            return found;
        }
    }
    return nullptr;
}

// The alert as a screen shows it, over nothing.
class Alert
{
public:
    explicit Alert(CalendarEvent::Fields event, AlertPresenter::Appearance appearance = {}, QSize size = {1280, 800})
        : clock(now), presenter(CalendarEvent(std::move(event)), appearance, clock)
    {
        view.engine()->addImageProvider(u"icon"_s, new IconProvider);
        view.setResizeMode(QQuickView::SizeRootObjectToView);
        view.setColor(Qt::transparent);
        view.setInitialProperties({{u"presenter"_s, QVariant::fromValue<QObject *>(&presenter)}});
        view.setSource(QUrl(u"qrc:/Bellwick/FullscreenAlertView.qml"_s));
        view.resize(size);
        view.show();
        QObject::connect(&presenter, &AlertPresenter::joinMeetingRequested, &presenter, [this] { asked << u"join"_s; });
        QObject::connect(&presenter, &AlertPresenter::dismissRequested, &presenter, [this] { asked << u"dismiss"_s; });
        QObject::connect(&presenter, &AlertPresenter::snoozeRequested, &presenter,
                         [this](int minutes) { asked << u"snooze %1"_s.arg(minutes); });
    }

    [[nodiscard]] bool ready() { return view.rootObject() && QTest::qWaitForWindowExposed(&view); }

    // Null when absent; an item that is there but hidden counts as absent to the user.
    [[nodiscard]] QQuickItem *shown(const QString &name)
    {
        view.grabWindow();
        QQuickItem *item = findItem(view.rootObject(), name);
        return item && item->isVisible() ? item : nullptr;
    }

    // The button's centre, as the window sees it.
    [[nodiscard]] static QPoint centre(const QQuickItem *item)
    {
        return item->mapToScene(item->boundingRect().center()).toPoint();
    }

    ManualClock clock;
    AlertPresenter presenter;
    QQuickView view;
    // What the buttons asked the presenter for, in order.
    QStringList asked;
};

} // namespace

class AlertViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A theme holding one of the icons, in red, and nothing else.
    void initTestCase()
    {
        QVERIFY(m_themes.isValid());
        const QDir theme(m_themes.filePath(u"bellwick-test"_s));
        QVERIFY(theme.mkpath(u"32"_s));
        QVERIFY(test::writeFile(theme.filePath(u"index.theme"_s),
                                "[Icon Theme]\nName=Test\nDirectories=32\n\n[32]\nSize=32\nType=Fixed\n"));
        QImage red(32, 32, QImage::Format_ARGB32);
        red.fill(Qt::red);
        QVERIFY(red.save(theme.filePath(u"32/camera-web.png"_s)));
        QIcon::setThemeSearchPaths({m_themes.path()});
        QIcon::setThemeName(u"bellwick-test"_s);
    }

    void init() { QTest::failOnWarning(QRegularExpression(u".*"_s)); }

    void iconsComeFromTheThemeElseTheBundle_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<int>("extent");
        QTest::addColumn<QColor>("colour");

        for (const char *name : {"x-office-calendar", "mark-location", "camera-video", "system-users", "video-display",
                                 "insert-link", "window-close", "appointment-soon"}) {
            QTest::newRow(name) << QString::fromLatin1(name) << 24 << QColor(Qt::white);
        }
        QTest::newRow("bundled, large") << u"x-office-calendar"_s << 96 << QColor(Qt::white);
        QTest::newRow("from the theme") << u"camera-web"_s << 32 << QColor(Qt::red);
        QTest::newRow("tinted") << u"window-close?tint=%2364a8ff"_s << 24 << QColor(0x64, 0xa8, 0xff);
        QTest::newRow("tinted from the theme") << u"camera-web?tint=%2300ff00"_s << 32 << QColor(Qt::green);
    }

    void iconsComeFromTheThemeElseTheBundle()
    {
        QFETCH(QString, id);
        QFETCH(int, extent);
        QFETCH(QColor, colour);

        QSize size;
        const QImage icon = IconProvider().requestPixmap(id, &size, QSize(extent, extent)).toImage();
        QCOMPARE(icon.size(), QSize(extent, extent));
        QCOMPARE(size, icon.size());
        // Edges are blended, so a little rounding is allowed.
        const auto off = [&colour](const QColor &pixel) {
            return std::abs(pixel.red() - colour.red()) + std::abs(pixel.green() - colour.green())
                   + std::abs(pixel.blue() - colour.blue());
        };
        int drawn = 0;
        for (int y = 0; y < extent; ++y) {
            for (int x = 0; x < extent; ++x) {
                if (const QColor pixel = icon.pixelColor(x, y); pixel.alpha() >= 128) {
                    ++drawn;
                    QCOMPARE_LE(off(pixel), 6);
                }
            }
        }
        QVERIFY(drawn > extent);
    }

    void showsWhatTheEventHas_data()
    {
        QTest::addColumn<OptionalText>("location");
        QTest::addColumn<OptionalText>("notes");
        QTest::addColumn<AlertPresenter::Appearance>("appearance");
        QTest::addColumn<QStringList>("absent");

        const QStringList noNotes{u"notesText"_s};
        QTest::newRow("zoom link as location") << zoomLink << OptionalText() << Appearance() << noNotes;
        QTest::newRow("other link in notes") << OptionalText() << OptionalText(u"https://meet.example.com/join/x"_s)
                                             << Appearance() << noNotes + QStringList{u"locationRow"_s};
        QTest::newRow("room only") << OptionalText(u"Room 4.02"_s) << OptionalText() << Appearance()
                                   << noNotes + QStringList{u"serviceRow"_s, u"joinButton"_s};
        QTest::newRow("nothing but the time")
            << OptionalText() << OptionalText() << Appearance()
            << noNotes + QStringList{u"locationRow"_s, u"serviceRow"_s, u"joinButton"_s};
        QTest::newRow("join turned off") << zoomLink << OptionalText(u"Agenda"_s) << Appearance{.showJoinButton = false}
                                         << noNotes + QStringList{u"joinButton"_s};
        QTest::newRow("notes shown") << zoomLink << OptionalText(u"Agenda: the roadmap"_s)
                                     << Appearance{.showEventNotes = true} << QStringList{};
    }

    void showsWhatTheEventHas()
    {
        QFETCH(OptionalText, location);
        QFETCH(OptionalText, notes);
        QFETCH(AlertPresenter::Appearance, appearance);
        QFETCH(QStringList, absent);

        Alert alert(fields(u"Design review"_s, 300, location, notes), appearance);
        QVERIFY(alert.ready());
        const QList<std::pair<QString, const char *>> items{
            {u"title"_s, "title"},
            {u"startTime"_s, "startTimeText"},
            {u"countdownLabel"_s, "countdownLabel"},
            {u"countdown"_s, "countdownText"},
            {u"clock"_s, "currentTimeText"},
            {u"calendarRow"_s, "calendarName"},
            {u"locationRow"_s, "location"},
            {u"serviceRow"_s, "serviceName"},
            {u"snoozeHeading"_s, "snoozeHeading"},
            {u"joinButton"_s, nullptr},
            {u"dismissButton"_s, nullptr},
            {u"remindAtStartButton"_s, nullptr},
            {u"notesText"_s, "notes"},
        };
        // With snooze choices, with only the reminder at the start, and started.
        for (const auto step : {0s, 200s, 101s}) {
            alert.clock.advance(step);
            const QList<SnoozeOption> options = alert.presenter.snoozeOptions();
            QStringList hidden = absent;
            if (options.isEmpty()) {
                hidden.append(u"snoozeHeading"_s);
            }
            if (!alert.presenter.offersReminderAtStart()) {
                hidden.append(u"remindAtStartButton"_s);
            }
            for (const auto &[name, property] : items) {
                QQuickItem *item = alert.shown(name);
                QVERIFY2((item == nullptr) == hidden.contains(name), qPrintable(name));
                if (item && property) {
                    QCOMPARE(item->property("text").toString(), alert.presenter.property(property).toString());
                }
            }
            for (const int minutes : {1, 2, 5, 10, 15}) {
                const auto option = std::find_if(options.cbegin(), options.cend(),
                                                 [minutes](const SnoozeOption &o) { return o.minutes == minutes; });
                QQuickItem *button = alert.shown(u"snoozeButton_%1"_s.arg(minutes));
                QCOMPARE(button != nullptr, option != options.cend());
                if (button) {
                    QCOMPARE(button->property("text").toString(), option->label);
                }
            }
            // Digits set in cells of their own must still get their full width.
            QQuickItem *countdown = alert.shown(u"countdown"_s);
            const QFontMetricsF metrics(countdown->property("font").value<QFont>());
            QCOMPARE_GE(countdown->implicitWidth(), metrics.horizontalAdvance(alert.presenter.countdownText()) - 1);
        }
    }

    void buttonsAskThePresenter_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<SnoozeStyle>("style");
        QTest::addColumn<qint64>("secondsPressed");
        QTest::addColumn<QStringList>("asked");

        using enum SnoozeStyle;
        QTest::newRow("join") << u"joinButton"_s << relative << 0LL << QStringList{u"join"_s};
        QTest::newRow("dismiss") << u"dismissButton"_s << relative << 0LL << QStringList{u"dismiss"_s};
        QTest::newRow("snooze") << u"snoozeButton_5"_s << relative << 0LL << QStringList{u"snooze 5"_s};
        QTest::newRow("remind at start") << u"remindAtStartButton"_s << relative << 0LL << QStringList{u"snooze 0"_s};
        // The reminder at 9:55 is 5 minutes off when pressed and 4 when released.
        QTest::newRow("snooze while the choices change")
            << u"snoozeButton_5"_s << absolute << 60LL << QStringList{u"snooze 4"_s};
        QTest::newRow("snooze while a choice goes")
            << u"snoozeButton_1"_s << relative << 256LL << QStringList{u"snooze 1"_s};
    }

    void buttonsAskThePresenter()
    {
        QFETCH(QString, button);
        QFETCH(SnoozeStyle, style);
        QFETCH(qint64, secondsPressed);
        QFETCH(QStringList, asked);

        Alert alert(fields(u"Standup"_s, 600, {}, u"https://meet.google.com/abc-defg-hij"_s), {.snoozeStyle = style});
        QVERIFY(alert.ready());
        QQuickItem *item = alert.shown(button);
        QVERIFY(item);
        const QPoint centre = Alert::centre(item);
        QVERIFY(alert.view.contentItem()->contains(centre));
        QTest::mousePress(&alert.view, Qt::LeftButton, {}, centre);
        alert.clock.advance(std::chrono::seconds(secondsPressed));
        alert.view.grabWindow();
        QTest::mouseRelease(&alert.view, Qt::LeftButton, {}, centre);
        QCOMPARE(alert.asked, asked);
    }

    // Nothing has the keyboard until Tab gives it to a button with a ring; Space and Enter act only on a ringed one.
    void keysActOnlyOnTheVisiblyFocusedButton_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QString>("ringed");
        QTest::addColumn<QStringList>("asked");

        QTest::newRow("Enter with no focus") << QStringList{u"Enter"_s} << QString() << QStringList{};
        QTest::newRow("Space with no focus") << QStringList{u"Space"_s} << QString() << QStringList{};
        QTest::newRow("Tab, Space") << QStringList{u"Tab"_s, u"Space"_s} << u"joinButton"_s << QStringList{u"join"_s};
        QTest::newRow("Tab, Tab, Enter") << QStringList{u"Tab"_s, u"Tab"_s, u"Enter"_s} << u"dismissButton"_s
                                         << QStringList{u"dismiss"_s};
        QTest::newRow("focus back with the window")
            << QStringList{u"Tab"_s, u"Refocus"_s, u"Space"_s} << QString() << QStringList{};
    }

    void keysActOnlyOnTheVisiblyFocusedButton()
    {
        QFETCH(QStringList, steps);
        QFETCH(QString, ringed);
        QFETCH(QStringList, asked);

        Alert alert(fields(u"Standup"_s, 600, zoomLink));
        QVERIFY(alert.ready());
        alert.view.requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(&alert.view));
        QRasterWindow other;
        for (const QString &step : std::as_const(steps).first(steps.size() - 1)) {
            if (step == u"Tab"_s) {
                QTest::keyClick(&alert.view, Qt::Key_Tab);
            } else {
                other.show();
                other.requestActivate();
                QVERIFY(QTest::qWaitForWindowActive(&other));
                alert.view.requestActivate();
                QVERIFY(QTest::qWaitForWindowActive(&alert.view));
            }
        }
        QQuickItem *focused = alert.view.activeFocusItem();
        const bool ring =
            focused && findItem(focused, u"focusRing"_s) && findItem(focused, u"focusRing"_s)->isVisible();
        QCOMPARE(ring ? focused->objectName() : QString(), ringed);
        QTest::keyClick(&alert.view, steps.last() == u"Space"_s ? Qt::Key_Space : Qt::Key_Return);
        QCOMPARE(alert.asked, asked);
    }

    // However long the title, it stops at three lines; however long the notes, they scroll inside their box; and
    // every button stays on the screen.
    void longTextsKeepTheButtonsOnScreen_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QString>("word");

        QTest::newRow("laptop, words") << QSize(1366, 768) << u"Quarterly "_s;
        QTest::newRow("small, right to left") << QSize(1024, 600) << u"اجتماع "_s;
        QTest::newRow("large, one unbroken word") << QSize(1920, 1080) << u"x"_s;
    }

    void longTextsKeepTheButtonsOnScreen()
    {
        QFETCH(QSize, size);
        QFETCH(QString, word);

        QStringList lines;
        for (int line = 1; line <= 200; ++line) {
            lines << u"Point %1 of the agenda"_s.arg(line);
        }
        Alert alert(fields(word.repeated(500).left(500), 600, zoomLink, lines.join(u'\n')), {.showEventNotes = true},
                    size);
        QVERIFY(alert.ready());
        QQuickItem *title = alert.shown(u"title"_s);
        QVERIFY(title);
        QCOMPARE_LE(title->property("lineCount").toInt(), 3);
        QVERIFY(title->property("truncated").toBool());
        QQuickItem *notes = alert.shown(u"notes"_s);
        QVERIFY(notes);
        QCOMPARE_LT(notes->height() * 10, notes->property("contentHeight").toReal());
        for (const QString &name :
             {u"joinButton"_s, u"dismissButton"_s, u"snoozeButton_1"_s, u"remindAtStartButton"_s}) {
            const QQuickItem *button = alert.shown(name);
            QVERIFY2(button && QRectF(QPointF(), size).contains(button->mapRectToScene(button->boundingRect())),
                     qPrintable(name));
        }
        QWheelEvent wheel(Alert::centre(notes), alert.view.mapToGlobal(Alert::centre(notes)), {}, {0, -360},
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QGuiApplication::sendEvent(&alert.view, &wheel);
        QTRY_VERIFY(notes->property("contentY").toReal() > 0);
    }

    // Corners are where the diagonal gradient starts and ends, at the chosen opacity. With
    // BELLWICK_ALERT_SHOTS set to a folder, each render is saved there to be looked at.
    void backdropRunsCornerToCorner_data()
    {
        QTest::addColumn<AlertColorScheme>("scheme");
        QTest::addColumn<double>("opacity");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QString>("title");

        const QString title = u"Quarterly planning with the design team"_s;
        QTest::newRow("purple") << AlertColorScheme::purple << 0.9 << QSize(1280, 800) << title;
        QTest::newRow("dark, faint, right to left")
            << AlertColorScheme::dark << 0.3 << QSize(1280, 800) << u"مراجعة التصميم الأسبوعية مع فريق المنتج"_s;
        QTest::newRow("blue, large") << AlertColorScheme::blue << 0.95 << QSize(1920, 1080) << title;
    }

    void backdropRunsCornerToCorner()
    {
        QFETCH(AlertColorScheme, scheme);
        QFETCH(double, opacity);
        QFETCH(QSize, size);
        QFETCH(QString, title);

        Alert alert(fields(title, 263, zoomLink), {.colorScheme = scheme, .backgroundOpacity = opacity}, size);
        QVERIFY(alert.ready());
        const QImage shot = alert.view.grabWindow();
        if (const QString folder = qEnvironmentVariable("BELLWICK_ALERT_SHOTS"); !folder.isEmpty()) {
            shot.save(QDir(folder).filePath(u"alert-%1.png"_s.arg(QString::fromLatin1(QTest::currentDataTag()))));
        }

        // Premultiplied, so the check holds whether or not the grab keeps the alpha channel: the backdrop at
        // the given opacity with the faint white layer over it.
        const QImage pixels = shot.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        const auto matches = [&](QPoint corner, const QColor &colour) {
            const QRgb pixel = pixels.pixel(corner);
            const auto near = [opacity](int actual, double value) {
                return std::abs(actual - (0.02 + 0.98 * opacity * value) * 255) <= 3;
            };
            return near(qRed(pixel), colour.redF()) && near(qGreen(pixel), colour.greenF())
                   && near(qBlue(pixel), colour.blueF());
        };
        QVERIFY(matches({0, 0}, alert.presenter.gradientStart()));
        QVERIFY(matches({pixels.width() - 1, pixels.height() - 1}, alert.presenter.gradientEnd()));
    }

private:
    QTemporaryDir m_themes;
};

int main(int argc, char *argv[])
{
    // No display is needed: everything is drawn off screen.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QGuiApplication app(argc, argv);
    AlertViewTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_alertview.moc"
