#include "simulator/background_simulator.h"

#include "simulator/pty_front.h"

#include <QtCore/QThread>
#include <QtCore/QTimer>

#include <future>

class BackgroundSimulator::Server : public QThread
{
public:
    Server(PlcMemory &memory, int station) : m_memory(memory), m_station(station), m_opened(false)
    {}

    bool startServing(QString *path, QString *error)
    {
        start();
        m_ready.get_future().wait();
        if (m_opened)
            *path = m_path;
        else
            *error = m_error;
        return m_opened;
    }

protected:
    void run() override
    {
        // Made here, so that its notifiers belong to this thread's event loop.
        PtyFront front(m_memory, m_station);
        m_opened = front.open(&m_error);
        m_path = front.path();
        if (!m_opened) {
            m_ready.set_value();
            return;
        }
        // From inside the loop: quit() has no effect on a loop that has not begun.
        QTimer running;
        running.setSingleShot(true);
        QObject::connect(&running, &QTimer::timeout, [this]() { m_ready.set_value(); });
        running.start(0);
        exec();
    }

private:
    PlcMemory &m_memory;
    const int m_station;
    std::promise<void> m_ready;
    // Written before m_ready is set, read after it.
    bool m_opened;
    QString m_path;
    QString m_error;
};

BackgroundSimulator::BackgroundSimulator(int station) : m_station(station) {}

BackgroundSimulator::~BackgroundSimulator()
{
    if (m_server) {
        m_server->quit();
        m_server->wait();
    }
}

bool BackgroundSimulator::start(QString *error)
{
    std::unique_ptr<Server> server(new Server(m_memory, m_station));
    if (!server->startServing(&m_path, error)) {
        server->wait();
        return false;
    }
    m_server = std::move(server);
    return true;
}
