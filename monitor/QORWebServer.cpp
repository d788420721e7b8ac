#include "monitor/QORWebServer.h"

#include "monitor/WebFront.h"

#include <utility>

QORWebServer::QORWebServer(QORWebConfig iConfig, QORWebHandler iHandler)
    : mpFront(std::make_unique<WebFront>(std::move(iConfig), std::move(iHandler)))
{
}

QORWebServer::~QORWebServer() = default;

unsigned short QORWebServer::GetPort() const { return mpFront->GetPort(); }
void QORWebServer::StopListening() { mpFront->StopListening(); }
bool QORWebServer::WaitUntilSent(std::chrono::milliseconds iLimit) { return mpFront->WaitUntilSent(iLimit); }
