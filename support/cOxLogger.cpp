#include "support/cOxLogger.h"

#include <utility>

#include "support/cOxString.h"

namespace ox3 {

namespace {

cOxString cleaned(const std::string& text) {
  cOxString result(text);
  result.trim();
  result.replaceNewlineBySpace();
  return result;
}

} // namespace

void cOxLogger::sendMsg(unsigned long code, const std::string& text) const {
  if (level >= code && callBack)
    callBack->message(code, cleaned(text));
}

void cOxLogger::sendMsg(unsigned long code, const std::string& text) {
  if (callBack || !bufferEnabled)
    std::as_const(*this).sendMsg(code, text);
  else if (level >= code)
    bufferedMessages.push_back({cleaned(text), code});
}

void cOxLogger::enableBuffer() {
  bufferEnabled = true;
  bufferedMessages.clear();
}

void cOxLogger::disableBuffer() {
  bufferEnabled = false;
  bufferedMessages.clear();
}

void cOxLogger::handleBuffer() {
  if (!bufferEnabled || !callBack)
    return;
  // The callback may do as it likes with this logger meanwhile.
  cOxLoggerCallBack& receiver = *callBack;
  for (const oxLogger::cBufferedMessages& held : std::exchange(bufferedMessages, {}))
    receiver.message(held.code, held.text);
}

void cOxLogger::setLoggerCallBack(cOxLoggerCallBack* receiver) {
  callBack = receiver;
  handleBuffer();
}

void cOxLogger::setActionIsInterrupted(bool interrupted) {
  if (callBack)
    callBack->setInterrupted(interrupted);
}

bool cOxLogger::checkActionIsInterrupted() const {
  return callBack && callBack->checkInterrupted();
}

cOxLogger& cOxLogger::operator<<(const std::string& text) {
  if (callBack)
    callBack->rawText(text);
  return *this;
}

cOxLogger& cOxLogger::operator<<(std::ostream& (*)(std::ostream&)) {
  return *this << std::string("\n");
}

} // namespace ox3
