#include "calendar/outlook/keyringstore.h"
#include "calendar/outlook/outlookauthservice.h"
#include "capturedoutput.h"
#include "localmicrosoft.h"
#include "platform/manualclock.h"
#include "timezone.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTest>

using namespace bellwick;
using namespace Qt::StringLiterals;
using test::LocalMicrosoft;
using test::runTask;

namespace {

const QString calendarView = u"/v1.0/me/calendarView"_s;
const QStringList sessionAccounts{u"accessToken"_s, u"refreshToken"_s, u"tokenExpiration"_s, u"userEmail"_s};
const QDateTime windowStart = QDateTime::fromString(u"2025-03-04T08:00:00Z"_s, Qt::ISODate);

QByteArray fixture(const char *name)
{
    QFile file(QLatin1String(BELLWICK_OUTLOOK_FIXTURES "/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A page of events e<first>... at the same time, linking to the next page when there is one.
QByteArray graphPage(int first, int count, bool more)
{
    const QJsonObject time{{u"dateTime"_s, u"2025-03-04T09:00:00"_s}, {u"timeZone"_s, u"UTC"_s}};
    QJsonArray events;
    for (int index = first; index < first + count; ++index) {
        events.append(
            QJsonObject{{u"id"_s, u"e%1"_s.arg(index)}, {u"isAllDay"_s, false}, {u"start"_s, time}, {u"end"_s, time}});
    }
    QJsonObject page{{u"value"_s, events}};
    if (more) {
        page.insert(u"@odata.nextLink"_s, u"{root}/v1.0/me/calendarView?$skiptoken=%1"_s.arg(first + count));
    }
    return QJsonDocument(page).toJson();
}

QList<QByteArray> bearers(const QList<LocalMicrosoft::Request> &requests)
{
    QList<QByteArray> sent;
    for (const LocalMicrosoft::Request &request : requests) {
        sent.append(request.headers.value("authorization"));
    }
    return sent;
}

} // namespace

class OutlookTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        test::pinTimeZone("America/Sao_Paulo");
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    }

    void init()
    {
        for (const QString &account : sessionAccounts + QStringList{u"accessTokenBackup"_s}) {
            runTask(m_keyring.remove(account));
        }
        m_clock.jumpTo(windowStart);
        m_server = std::make_unique<LocalMicrosoft>();
        m_provider = std::make_unique<OutlookCalendarProvider>(m_clock, m_server->endpoints().graphRoot);
        m_provider->setAccessToken(u"token-1"_s);
    }

    void requestIsExactAndNeedsAToken()
    {
        m_server->queue(calendarView, {200, R"({"value": []})"});
        const QDateTime from = QDateTime::fromString(u"2025-03-04T09:30:00+01:00"_s, Qt::ISODate);
        QVERIFY(runTask(m_provider->fetchEvents(from, from.addDays(1))).isEmpty());
        m_provider->setAccessToken(std::nullopt);
        QCOMPARE(test::failureOf(m_provider->fetchUpcomingEvents()), u"notAuthorized"_s);

        const QList<LocalMicrosoft::Request> requests = m_server->requestsTo(calendarView);
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests[0].query, u"startDateTime=2025-03-04T08:30:00Z&endDateTime=2025-03-05T08:30:00Z"
                                    "&$select=id,subject,body,start,end,location,isAllDay,onlineMeeting,"
                                    "webLink&$orderby=start/dateTime&$top=50"_s);
        QCOMPARE(bearers(requests), QList<QByteArray>{"Bearer token-1"});
        QCOMPARE(requests[0].headers.value("accept"), QByteArray("application/json"));
        QCOMPARE(requests[0].headers.value("prefer"), QByteArray(R"(outlook.timezone="UTC")"));
    }

    void convertsGraphEvents_data()
    {
        QTest::addColumn<bool>("allDay");
        QTest::addColumn<int>("minimumMinutes");
        QTest::newRow("default") << false << 0;
        QTest::newRow("with all-day events") << true << 0;
        QTest::newRow("meetings of 30 minutes or more") << false << 30;
    }

    // Event by event, calendarview.expected says what the fixture's Graph events become.
    void convertsGraphEvents()
    {
        QFETCH(bool, allDay);
        QFETCH(int, minimumMinutes);
        m_server->queue(calendarView, {200, fixture("calendarview.json")});
        CalendarProviderConfig config;
        config.includeAllDayEvents = allDay;
        config.minimumDurationMinutes = minimumMinutes;
        m_provider->setConfig(config);
        test::CapturedOutput output;
        const QList<CalendarEvent> events = runTask(m_provider->fetchUpcomingEvents());

        QStringList seen;
        for (const CalendarEvent &event : events) {
            QVERIFY(event.calendarName() == u"Outlook"_s && !event.calendarColor());
            seen.append(QStringList{event.originalID(), event.startDate().toUTC().toString(Qt::ISODateWithMs),
                                    event.endDate().toUTC().toString(Qt::ISODateWithMs),
                                    QLatin1String(event.isAllDay() ? "all-day" : "timed"),
                                    event.meetingType() ? rawValue(*event.meetingType()) : u"-"_s, event.title()}
                            .join(u' '));
        }
        QStringList expected = QString::fromUtf8(fixture("calendarview.expected")).split(u'\n', Qt::SkipEmptyParts);
        expected.removeIf([&](const QString &line) {
            const auto instant = [&line](int field) {
                return QDateTime::fromString(line.section(u' ', field, field), Qt::ISODateWithMs);
            };
            return (!allDay && line.contains(u" all-day "_s)) || instant(1).secsTo(instant(2)) < minimumMinutes * 60;
        });
        QCOMPARE(seen, expected);
        QCOMPARE(output.lines(), (QStringList{uR"(Outlook event AAMkAGI2-mars left out: unknown time zone )"
                                              R"("Mars Standard Time")"_s,
                                              uR"(Outlook event AAMkAGI2-feb30 left out: unreadable time )"
                                              R"("2025-02-30T10:00:00.0000000")"_s}));
    }

    void failuresAreClassifiedOrPassedOn_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("failure");
        for (const QJsonValue row : QJsonDocument::fromJson(fixture("failures.json")).array()) {
            const QJsonObject c = row.toObject();
            const QJsonValue body = c.value(u"body"_s);
            QTest::newRow(qPrintable(c.value(u"name"_s).toString()))
                << c.value(u"status"_s).toInt()
                << (body.isUndefined() ? c.value(u"raw"_s).toString().toUtf8()
                                       : QJsonDocument::fromVariant(body.toVariant()).toJson())
                << c.value(u"failure"_s).toString();
        }
    }

    void failuresAreClassifiedOrPassedOn()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, failure);
        m_server->queue(calendarView, {status, body});
        const QString seen = test::failureOf(m_provider->fetchUpcomingEvents());
        QVERIFY2(seen.startsWith(failure), qPrintable(seen));
    }

    void transportFailuresPassThrough()
    {
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        OutlookCalendarProvider unreachable(m_clock, QUrl(u"http://127.0.0.1:%1"_s.arg(closed.serverPort())));
        closed.close();
        unreachable.setAccessToken(u"token-1"_s);
        QVERIFY(test::failureOf(unreachable.fetchUpcomingEvents()).startsWith(u"networkFailure(1:"_s));

        m_server->queue(calendarView, {.silent = true});
        auto fetch = m_provider->fetchUpcomingEvents();
        QTRY_COMPARE(m_server->requestsTo(calendarView).size(), 1);
        m_clock.advance(std::chrono::seconds(59));
        QTest::qWait(20);
        QVERIFY(!fetch.isReady());
        m_clock.advance(std::chrono::seconds(1));
        QVERIFY(test::failureOf(std::move(fetch)).startsWith(u"networkFailure(4:"_s));
    }

    void followsPagesInReplyOrder_data()
    {
        QTest::addColumn<int>("pages");
        QTest::addColumn<int>("pageSize");
        QTest::addColumn<int>("diagnostics");
        QTest::newRow("three pages") << 3 << 2 << 0;
        QTest::newRow("exactly the cap") << 20 << 50 << 0;
        QTest::newRow("stops at the cap") << 21 << 50 << 1;
        QTest::newRow("one long page over the cap") << 1 << 1001 << 1;
    }

    void followsPagesInReplyOrder()
    {
        QFETCH(int, pages);
        QFETCH(int, pageSize);
        QFETCH(int, diagnostics);
        for (int page = 0; page < pages; ++page) {
            m_server->queue(calendarView, {200, graphPage(page * pageSize, pageSize, page + 1 < pages)});
        }
        test::CapturedOutput output;
        const QList<CalendarEvent> fetched = runTask(m_provider->fetchUpcomingEvents());

        QCOMPARE(output.lines().size(), diagnostics);
        QCOMPARE(fetched.size(), std::min(pages * pageSize, 1000));
        for (int index = 0; index < fetched.size(); ++index) {
            QCOMPARE(fetched[index].originalID(), u"e%1"_s.arg(index));
        }
        const QList<LocalMicrosoft::Request> requests = m_server->requestsTo(calendarView);
        QCOMPARE(bearers(requests), QList<QByteArray>(std::min(pages, 20), "Bearer token-1"));
        QCOMPARE(requests.value(1).query, pages > 1 ? u"$skiptoken=%1"_s.arg(pageSize) : QString());
    }

    void renewsTheTokenThroughTheSession_data()
    {
        QTest::addColumn<int>("expiresIn");
        QTest::addColumn<QList<int>>("graphStatuses");
        QTest::addColumn<int>("tokenStatus");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QList<QByteArray>>("sent");
        QTest::addColumn<QString>("stored");

        const QByteArray fresh = "Bearer fresh", stale = "Bearer stale";
        const QString kept = u"stale;refresh+1;2025-03-04T09:00:00Z;"_s;
        const QString renewed = u"fresh;refresh+1;2025-03-04T09:00:00Z;"_s;
        QTest::newRow("valid token") << 3600 << QList<int>{200} << 0 << "" << QList<QByteArray>{stale} << kept;
        QTest::newRow("expired before the fetch")
            << 30 << QList<int>{200} << 200 << "" << QList<QByteArray>{fresh} << renewed;
        QTest::newRow("renewed once after 401")
            << 3600 << QList<int>{401, 200} << 200 << "" << QList<QByteArray>{stale, fresh} << renewed;
        QTest::newRow("401 after renewal")
            << 3600 << QList<int>{401, 401} << 200 << "tokenExpired" << QList<QByteArray>{stale, fresh} << renewed;
        QTest::newRow("refused renewal signs out")
            << 3600 << QList<int>{401} << 400 << "tokenExpired" << QList<QByteArray>{stale} << ";;;";
        QTest::newRow("identity service broken") << 30 << QList<int>{} << 503 << "tokenExchangeFailed"
                                                 << QList<QByteArray>{} << "stale;refresh+1;2025-03-04T08:00:30Z;";
    }

    void renewsTheTokenThroughTheSession()
    {
        QFETCH(int, expiresIn);
        QFETCH(QList<int>, graphStatuses);
        QFETCH(int, tokenStatus);
        QFETCH(QString, failure);
        QFETCH(QList<QByteArray>, sent);
        QFETCH(QString, stored);

        runTask(m_keyring.write(u"accessToken"_s, u"stale"_s));
        runTask(m_keyring.write(u"refreshToken"_s, u"refresh+1"_s));
        runTask(m_keyring.write(u"tokenExpiration"_s, windowStart.addSecs(expiresIn).toString(Qt::ISODate)));
        OutlookAuthService session(
            m_clock, [] { return u"client-7"_s; }, m_server->endpoints());
        m_provider->setTokenRefreshHandler(
            [&session](TokenRenewal renewal) { return session.usableAccessToken(renewal); });
        for (const int status : graphStatuses) {
            m_server->queue(calendarView, {status, R"({"value": []})"});
        }
        m_server->queue(LocalMicrosoft::tokenPath,
                        {tokenStatus, tokenStatus == 200 ? R"({"access_token": "fresh", "expires_in": 3600})"
                                                         : R"({"error": "invalid_grant"})"});

        QCOMPARE(test::failureOf(m_provider->fetchUpcomingEvents()), failure);
        QCOMPARE(bearers(m_server->requestsTo(calendarView)), sent);
        const QList<LocalMicrosoft::Request> renewals = m_server->requestsTo(LocalMicrosoft::tokenPath);
        QCOMPARE(renewals.size(), tokenStatus == 0 ? 0 : 1);
        QCOMPARE(renewals.value(0).form.query(QUrl::FullyEncoded),
                 tokenStatus == 0 ? QString()
                                  : u"client_id=client-7&grant_type=refresh_token&refresh_token=refresh%2B1"
                                    "&scope=offline_access%20User.Read%20Calendars.Read"_s);
        const bool refused = tokenStatus == 400;
        QCOMPARE(session.isAuthenticated(), !refused);
        QCOMPARE(session.property("error").toString(),
                 QLatin1String(refused ? "Your session has expired. Please sign in again." : ""));
        QCOMPARE(storedSession(), stored);
    }

    void storedSessionIsRead_data()
    {
        // Account=value pairs, separated by semicolons.
        QTest::addColumn<QString>("items");
        QTest::addColumn<QString>("session");

        const auto row = [](const char *name, const char *items, const char *session) {
            QTest::newRow(name) << QString::fromUtf8(items) << QString::fromUtf8(session);
        };
        row("empty keyring", "", "signed out");
        row("only an access token", "accessToken=a", "signed in");
        row("whole session", "accessToken=a;refreshToken=r;tokenExpiration=2025-03-04T08:30:00Z;userEmail=u",
            "signed in, refresh r, expires 2025-03-04T08:30:00Z, u");
        row("expiry with an offset", "accessToken=a;tokenExpiration=2025-03-04T09:30:00+01:00",
            "signed in, expires 2025-03-04T08:30:00Z");
        row("expiry with a fraction", "accessToken=a;tokenExpiration=2025-03-04T08:30:00.5Z", "signed in");
        row("expiry without a zone", "accessToken=a;tokenExpiration=2025-03-04T08:30:00", "signed in");
        row("unreadable expiry", "accessToken=a;tokenExpiration=next Tuesday", "signed in");
        row("expired token still counts", "accessToken=a;tokenExpiration=2001-01-01T00:00:00Z",
            "signed in, expires 2001-01-01T00:00:00Z");
        row("no access token", "refreshToken=r;userEmail=u", "signed out, refresh r, u");
        row("another account name", "accessTokenBackup=a", "signed out");
    }

    void storedSessionIsRead()
    {
        QFETCH(QString, items);
        QFETCH(QString, session);
        for (const QString &item : items.split(u';', Qt::SkipEmptyParts)) {
            runTask(m_keyring.write(item.section(u'=', 0, 0), item.section(u'=', 1)));
        }
        OutlookAuthService service(m_clock, [] { return QString(); });
        QVERIFY(!service.hasLoadedStoredTokens());
        runTask(service.waitForStoredTokens());

        QStringList seen{QLatin1String(service.isAuthenticated() ? "signed in" : "signed out")};
        QCOMPARE(service.accessToken().has_value(), service.isAuthenticated());
        if (service.refreshToken()) {
            seen.append(u"refresh "_s + *service.refreshToken());
        }
        if (service.tokenExpiration()) {
            seen.append(u"expires "_s + service.tokenExpiration()->toString(Qt::ISODate));
        }
        seen.append(service.userEmail().value_or(QString()));
        seen.removeAll(QString());
        QCOMPARE(seen.join(u", "_s), session);
        QVERIFY(!service.isAuthenticating() && !service.error());
    }

    void signsInThroughTheBrowser_data()
    {
        QTest::addColumn<QString>("clientID");
        QTest::addColumn<QString>("consent");
        QTest::addColumn<int>("tokenStatus");
        QTest::addColumn<QString>("failure");

        const auto row = [](const char *name, const char *clientID, const char *consent, int tokenStatus,
                            const char *failure) {
            QTest::newRow(name) << QString::fromUtf8(clientID) << QString::fromUtf8(consent) << tokenStatus
                                << QString::fromUtf8(failure);
        };
        const char *granted = "code=code-1&state={state}";
        const char *invalid = "Invalid authentication callback received.";
        row("signed in", "client-7", granted, 0, "");
        row("cancelled in the browser", "client-7", "error=access_denied&error_subcode=cancel&state={state}", 0,
            "Sign in was cancelled.");
        row("answer for another sign-in", "client-7", "code=code-1&state=forged", 0, invalid);
        row("answer without a code", "client-7", "state={state}", 0, invalid);
        row("service error", "client-7", "error=server_error&error_description=AADSTS50000:%20Try%20later", 0,
            "Authentication failed: AADSTS50000: Try later");
        row("code refused", "client-7", granted, 400, "Failed to exchange authorization code for tokens.");
        row("unknown application", "client-8", granted, 0, "Authentication failed: invalid_request");
        row("no client ID", " ", granted, 0, "Invalid OAuth configuration. Please check your Azure AD app settings.");
    }

    void signsInThroughTheBrowser()
    {
        QFETCH(QString, clientID);
        QFETCH(QString, consent);
        QFETCH(int, tokenStatus);
        QFETCH(QString, failure);

        m_server->consent = consent;
        if (tokenStatus != 0) {
            m_server->queue(LocalMicrosoft::tokenPath, {tokenStatus, R"({"error": "invalid_grant"})"});
        }
        m_server->queue(u"/v1.0/me"_s, {200, R"({"mail": null, "userPrincipalName": "ada@contoso.example"})"});
        OutlookAuthService service(
            m_clock, [clientID] { return clientID; }, m_server->endpoints());
        service.setBrowserOpener([this](const QUrl &url) { return m_server->openBrowser(url); });

        const bool signedIn = runTask(service.signIn());

        QCOMPARE(signedIn, failure.isEmpty());
        QCOMPARE(service.isAuthenticated(), signedIn);
        QVERIFY(!service.isAuthenticating());
        QCOMPARE(service.property("error").toString(), failure);
        QCOMPARE(m_server->requestsTo(LocalMicrosoft::authorizePath).isEmpty(), clientID.trimmed().isEmpty());
        QCOMPARE(storedSession(),
                 QLatin1String(signedIn ? "access-1;refresh-1;2025-03-04T09:00:00Z;ada@contoso.example" : ";;;"));
        if (!signedIn) {
            return;
        }
        QCOMPARE(service.property("userEmail").toString(), u"ada@contoso.example"_s);
        QCOMPARE(m_server->requestsTo(u"/v1.0/me"_s).value(0).headers.value("authorization"),
                 QByteArray("Bearer access-1"));

        runTask(service.signOut());
        QVERIFY(!service.isAuthenticated() && !service.userEmail());
        QCOMPARE(storedSession(), u";;;"_s);
    }

private:
    // The four keyring items, joined by semicolons.
    QString storedSession()
    {
        QStringList values;
        for (const QString &account : sessionAccounts) {
            values.append(runTask(m_keyring.read(account)).value_or(QString()));
        }
        return values.join(u';');
    }

    ManualClock m_clock{windowStart};
    KeyringStore m_keyring{QString(OutlookAuthService::keychainServiceName)};
    std::unique_ptr<LocalMicrosoft> m_server;
    std::unique_ptr<OutlookCalendarProvider> m_provider;
};

QTEST_GUILESS_MAIN(OutlookTest)
#include "tst_outlook.moc"
