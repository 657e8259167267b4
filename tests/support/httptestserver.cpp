#include "tests/support/httptestserver.h"

#include <QEventLoop>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>
#include <condition_variable>
#include <deque>
#include <mutex>

using namespace std::chrono_literals;

// --- Request and Reply --------------------------------------------------------------------

QByteArray HttpTestServer::Request::path() const
{
    const qsizetype query = target.indexOf('?');
    return query < 0 ? target : target.left(query);
}

QByteArray HttpTestServer::Request::header(const QByteArray& name) const
{
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

QJsonObject HttpTestServer::Request::json() const
{
    return QJsonDocument::fromJson(body).object();
}

using Reply = HttpTestServer::Reply;

Reply Reply::text(int status, QByteArray body, QByteArray contentType)
{
    Reply reply;
    reply.m_status = status;
    reply.m_body = std::move(body);
    reply.m_headers.append({"Content-Type", std::move(contentType)});
    return reply;
}

Reply Reply::json(const QJsonValue& value, int status)
{
    const QByteArray body = value.isArray()
                                ? QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact)
                                : QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
    return text(status, body, "application/json");
}

Reply Reply::stream(int status, QByteArray contentType)
{
    Reply reply = text(status, {}, std::move(contentType));
    reply.m_shape = Shape::Streamed;
    return reply;
}

Reply Reply::silence()
{
    return raw({}).neverEnd();
}

Reply Reply::raw(QByteArray bytes)
{
    Reply reply;
    reply.m_shape = Shape::Raw;
    reply.m_body = std::move(bytes);
    return reply;
}

Reply& Reply::header(QByteArray name, QByteArray value)
{
    m_headers.append({std::move(name), std::move(value)});
    return *this;
}

Reply& Reply::send(QByteArray bytes)
{
    if (!bytes.isEmpty())
        m_steps.push_back(
            {Step::Write, QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n"});
    return *this;
}

Reply& Reply::line(const QByteArray& text)
{
    return send(text + '\n');
}

Reply& Reply::pause(std::chrono::milliseconds wait)
{
    m_steps.push_back({Step::Wait, {}, wait});
    return *this;
}

Reply& Reply::closeEarly()
{
    m_end = End::Close;
    return *this;
}

Reply& Reply::neverEnd()
{
    m_end = End::Hang;
    return *this;
}

// --- Shared state -------------------------------------------------------------------------

// Guarded by std::mutex rather than Qt's locks, whose slow path ThreadSanitizer cannot see.
struct HttpTestServer::State {
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    QMap<QByteArray, Handler> routes;
    QList<Request> requests;
    int opened = 0;
    int closedByClient = 0;
    quint16 port = 0;
    bool listening = false; // the server thread has set up (port 0: it could not listen)

    Handler handlerFor(const QByteArray& path) const
    {
        std::lock_guard lock(mutex);
        return routes.value(path);
    }
    template <typename Change> void update(Change change)
    {
        {
            std::lock_guard lock(mutex);
            change();
        }
        changed.notify_all();
    }
    template <typename Done> bool waitUntil(std::chrono::milliseconds limit, Done done) const
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, limit, done);
    }
};

// --- One connection -----------------------------------------------------------------------

class HttpTestServer::Connection : public QObject {
public:
    Connection(QTcpSocket* socket, std::shared_ptr<HttpTestServer::State> state)
        : m_socket(socket), m_state(std::move(state))
    {
        socket->setParent(this);
        connect(socket, &QTcpSocket::readyRead, this, &Connection::onReadyRead);
        connect(socket, &QTcpSocket::disconnected, this, [this] {
            if (!m_closing)
                m_state->update([&] { ++m_state->closedByClient; });
            m_closing = true;
            deleteLater();
        });
    }

    // The server is going away: close without counting it as the client's doing.
    void shutDown()
    {
        m_closing = true;
        m_socket->abort();
    }

private:
    void onReadyRead()
    {
        m_buffer.append(m_socket->readAll());
        if (m_actions.empty() && !m_waiting)
            nextRequest();
    }

    void nextRequest()
    {
        const qsizetype end = m_buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const QList<QByteArray> lines = m_buffer.left(end).split('\n');
        HttpTestServer::Request request;
        const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
        request.method = first.value(0);
        request.target = first.value(1);
        qsizetype length = 0;
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const QByteArray line = lines[i].trimmed();
            const qsizetype colon = line.indexOf(':');
            if (colon <= 0)
                continue;
            const QByteArray name = line.left(colon).trimmed();
            const QByteArray value = line.mid(colon + 1).trimmed();
            request.headers.append({name, value});
            if (name.compare("Content-Length", Qt::CaseInsensitive) == 0)
                length = value.toLongLong();
        }
        if (m_buffer.size() < end + 4 + length)
            return; // the body is still on its way
        request.body = m_buffer.mid(end + 4, length);
        m_buffer.remove(0, end + 4 + length);
        m_state->update([&] { m_state->requests.append(request); });

        const HttpTestServer::Handler handler = m_state->handlerFor(request.path());
        const Reply reply = handler ? handler(request) : Reply::text(404, "no script for path");
        plan(reply, request.header("Connection").compare("close", Qt::CaseInsensitive) == 0);
        run();
    }

    void plan(const Reply& reply, bool closeAfter)
    {
        using Shape = Reply::Shape;
        using End = Reply::End;
        if (reply.m_shape == Shape::Raw) {
            m_actions.push_back({Action::Write, reply.m_body});
            m_actions.push_back({reply.m_end == End::Hang ? Action::Hang : Action::Close});
            return;
        }
        // The reason phrase may be empty; clients read only the code.
        QByteArray head = "HTTP/1.1 " + QByteArray::number(reply.m_status) + " \r\n";
        for (const auto& [name, value] : reply.m_headers)
            head += name + ": " + value + "\r\n";
        if (reply.m_shape == Shape::Fixed) {
            head += "Content-Length: " + QByteArray::number(reply.m_body.size()) + "\r\n\r\n";
            const QByteArray body = reply.m_end == End::Whole
                                        ? reply.m_body
                                        : reply.m_body.left(reply.m_body.size() / 2);
            m_actions.push_back({Action::Write, head + body});
        } else {
            m_actions.push_back({Action::Write, head + "Transfer-Encoding: chunked\r\n\r\n"});
            m_actions.insert(m_actions.end(), reply.m_steps.begin(), reply.m_steps.end());
            if (reply.m_end == End::Whole)
                m_actions.push_back({Action::Write, "0\r\n\r\n"});
        }
        if (reply.m_end == End::Close || (reply.m_end == End::Whole && closeAfter))
            m_actions.push_back({Action::Close});
        else if (reply.m_end == End::Hang)
            m_actions.push_back({Action::Hang});
    }

    void run()
    {
        while (!m_actions.empty() && !m_closing) {
            const Action action = m_actions.front();
            switch (action.kind) {
            case Action::Write:
                m_actions.pop_front();
                m_socket->write(action.bytes);
                m_socket->flush();
                break;
            case Action::Wait:
                m_actions.pop_front();
                m_waiting = true;
                QTimer::singleShot(action.wait, this, [this] {
                    m_waiting = false;
                    run();
                });
                return;
            case Action::Close:
                m_actions.clear();
                m_closing = true;
                m_socket->disconnectFromHost();
                return;
            case Action::Hang:
                return; // the action stays, so no later request is answered
            }
        }
        if (!m_closing)
            nextRequest(); // a pipelined request may already be waiting
    }

    QTcpSocket* m_socket;
    std::shared_ptr<HttpTestServer::State> m_state;
    QByteArray m_buffer;
    using Action = Reply::Step;
    std::deque<Action> m_actions;
    bool m_waiting = false;
    bool m_closing = false;
};

// --- HttpTestServer -------------------------------------------------------------------------

HttpTestServer::HttpTestServer() : m_state(std::make_shared<State>())
{
    // Everything the thread shares with the rest goes through State's std::mutex.
    m_thread.reset(QThread::create([state = m_state] {
        QObject connections; // the parent of every connection, so that they end with the thread
        QTcpServer server;
        QObject::connect(&server, &QTcpServer::newConnection, &server, [&] {
            while (QTcpSocket* socket = server.nextPendingConnection()) {
                state->update([&] { ++state->opened; });
                (new Connection(socket, state))->setParent(&connections);
            }
        });
        const quint16 port = server.listen(QHostAddress::LocalHost, 0) ? server.serverPort() : 0;
        state->update([&] {
            state->port = port;
            state->listening = true;
        });
        if (port == 0)
            return;
        QEventLoop().exec(); // until the destructor quits the thread
        server.close();
        for (QObject* connection : connections.children())
            static_cast<Connection*>(connection)->shutDown();
    }));
    m_thread->setObjectName(QStringLiteral("HttpTestServer"));
    m_thread->start();
    m_state->waitUntil(std::chrono::hours(1), [this] { return m_state->listening; });
    m_port = m_state->port;
    if (m_port == 0) {
        m_thread->wait();
        qFatal("HttpTestServer: cannot listen on 127.0.0.1");
    }
}

HttpTestServer::~HttpTestServer()
{
    m_thread->quit();
    m_thread->wait();
}

QString HttpTestServer::base() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

QUrl HttpTestServer::url(const QString& pathAndQuery) const
{
    return QUrl(base() + pathAndQuery);
}

void HttpTestServer::on(const QByteArray& path, Reply reply)
{
    on(path, [reply](const Request&) { return reply; });
}

void HttpTestServer::on(const QByteArray& path, Handler handler)
{
    m_state->update([&] { m_state->routes.insert(path, std::move(handler)); });
}

QList<HttpTestServer::Request> HttpTestServer::requests() const
{
    std::lock_guard lock(m_state->mutex);
    return m_state->requests;
}

bool HttpTestServer::waitForRequests(qsizetype count, std::chrono::milliseconds limit) const
{
    return m_state->waitUntil(limit, [&] { return m_state->requests.size() >= count; });
}

int HttpTestServer::connectionsOpened() const
{
    std::lock_guard lock(m_state->mutex);
    return m_state->opened;
}

int HttpTestServer::connectionsClosedByClient() const
{
    std::lock_guard lock(m_state->mutex);
    return m_state->closedByClient;
}

bool HttpTestServer::waitForClientClose(int count, std::chrono::milliseconds limit) const
{
    return m_state->waitUntil(limit, [&] { return m_state->closedByClient >= count; });
}

quint16 HttpTestServer::closedPort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0))
        return 0;
    const quint16 port = probe.serverPort();
    probe.close();
    return port;
}
