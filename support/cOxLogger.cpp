#include "support/cOxLogger.h"

#include <utility>

#include "support/cOxString.h"

namespace ox3 {

namespace {

cOxString cleaned(const std::string& message) {
  cOxString result(message);
  result.trim();
  result.replaceNewlineBySpace();
  return result;
}

} // namespace

void cOxLogger::sendMsg(unsigned long code, const std::string& message) const {
  if (level_ >= code && callBack_)
    callBack_->message(code, cleaned(message));
}

void cOxLogger::sendMsg(unsigned long code, const std::string& message) {
  if (callBack_ || !bufferEnabled_)
    std::as_const(*this).sendMsg(code, message);
  else if (level_ >= code)
    bufferedMessages_.push_back({cleaned(message), code});
}

void cOxLogger::enableBuffer() {
  bufferEnabled_ = true;
  bufferedMessages_.clear();
}

void cOxLogger::disableBuffer() {
  bufferEnabled_ = false;
  bufferedMessages_.clear();
}

void cOxLogger::handleBuffer() {
  if (!bufferEnabled_ || !callBack_)
    return;
  // From copies, because the callback may change this logger while it receives a message.
  cOxLoggerCallBack& receiver = *callBack_;
  for (const oxLogger::cBufferedMessages& held : std::vector(bufferedMessages_))
    receiver.message(held.code, held.text);
  bufferedMessages_.clear();
}

void cOxLogger::setLoggerCallBack(cOxLoggerCallBack* receiver) {
  callBack_ = receiver;
  handleBuffer();
}

void cOxLogger::setActionIsInterrupted(bool interrupted) {
  if (callBack_)
    callBack_->setInterrupted(interrupted);
}

bool cOxLogger::checkActionIsInterrupted() const {
  return callBack_ && callBack_->checkInterrupted();
}

cOxLogger& cOxLogger::operator<<(const std::string& bytes) {
  if (callBack_)
    callBack_->rawText(bytes);
  return *this;
}

} // namespace ox3
