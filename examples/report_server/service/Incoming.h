// What the service's clients send. All throw RequestError, with the reason, for what can't be understood.
#pragma once

#include "client/Request.h"
#include "monitor/QORWeb.h"

#include <chrono>
#include <initializer_list>
#include <string_view>

/// The body: a line, or JSON. The language is that of `lang`, of the JSON, or the first one of Accept-Language that
/// there is.
Request ReadRequest(const QORWebRequest& iRequest);
/// `wait`; 0 where there is none.
std::chrono::seconds ReadWait(const QORWebRequest& iRequest);
bool ReadCancelWhenGone(const QORWebRequest& iRequest);
/// What else the query has is refused.
void RefuseUnknown(const QORWebRequest& iRequest, std::initializer_list<std::string_view> iNames);
