// A logger sends messages to a callback. Without a callback it buffers them, if buffering is
// enabled, or drops them. It never prints.
#pragma once

#include <ios>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace ox3 {

// The receiver of the messages: implement it and set it with cOxLogger::setLoggerCallBack.
class cOxLoggerCallBack {
public:
  // Receives a message that the logger's level lets through, as one line without white space around
  // it. `code` is an oxLogger::MessageCode, or another number that sendMsg was called with.
  virtual void message(unsigned long code, const std::string& message) = 0;

  // Receives what operator<< writes, unchanged.
  virtual void rawText(const std::string& bytes) = 0;

  virtual void setInterrupted(bool interrupted) = 0;
  virtual bool checkInterrupted() = 0;
  virtual void progress() = 0;

  virtual ~cOxLoggerCallBack() = default;
};

namespace oxLogger {

struct cBufferedMessages {
  std::string text; // as the callback will receive it
  unsigned long code;
};

// A message is sent if its code is at most the logger's level.
enum MessageCode : unsigned long {
  infoCode = 1,
  fatalErrorCode = 2,
  errorCode = 3,
  highWarnCode = 4,
  warnCode = 5,
  debugCode = 6,
  noclCode = 7
};

} // namespace oxLogger

class cOxLogger {
public:
  cOxLogger() = default;
  // The level is 6 by default, which lets through all messages but those of noclMsg. Level 0 lets
  // nothing through.
  explicit cOxLogger(unsigned long level) : level_(level) {}

  // Without a callback, a non-const logger buffers the message if buffering is enabled; a const
  // logger drops it.
  void infoMsg(const std::string& message) const { sendMsg(oxLogger::infoCode, message); }
  void infoMsg(const std::string& message) { sendMsg(oxLogger::infoCode, message); }
  void fatalErrorMsg(const std::string& message) const {
    sendMsg(oxLogger::fatalErrorCode, message);
  }
  void fatalErrorMsg(const std::string& message) { sendMsg(oxLogger::fatalErrorCode, message); }
  void errorMsg(const std::string& message) const { sendMsg(oxLogger::errorCode, message); }
  void errorMsg(const std::string& message) { sendMsg(oxLogger::errorCode, message); }
  void highWarnMsg(const std::string& message) const { sendMsg(oxLogger::highWarnCode, message); }
  void highWarnMsg(const std::string& message) { sendMsg(oxLogger::highWarnCode, message); }
  void warnMsg(const std::string& message) const { sendMsg(oxLogger::warnCode, message); }
  void warnMsg(const std::string& message) { sendMsg(oxLogger::warnCode, message); }
  void debugMsg(const std::string& message) const { sendMsg(oxLogger::debugCode, message); }
  void debugMsg(const std::string& message) { sendMsg(oxLogger::debugCode, message); }
  void noclMsg(const std::string& message) const { sendMsg(oxLogger::noclCode, message); }
  void noclMsg(const std::string& message) { sendMsg(oxLogger::noclCode, message); }
  void sendMsg(unsigned long code, const std::string& message) const;
  void sendMsg(unsigned long code, const std::string& message);

  // Both empty the buffer and do not deliver what it holds.
  void enableBuffer();
  void disableBuffer();

  // Delivers the buffered messages to the callback, oldest first, then empties the buffer. Does
  // nothing without a callback or with buffering disabled. If the callback throws, all of them stay
  // buffered.
  void handleBuffer();

  // Sets the callback, which the caller owns; null for none. Then does what handleBuffer does.
  void setLoggerCallBack(cOxLoggerCallBack* receiver);

  // The callback keeps the flag. Without a callback, set does nothing and check returns false.
  void setActionIsInterrupted(bool interrupted);
  bool checkActionIsInterrupted() const;

  // Sends to rawText of the callback: not filtered by level, not cleaned and not buffered.
  cOxLogger& operator<<(const std::string& bytes);
  // Send a line feed whatever the manipulator is: std::endl and its like, std::hex and its like.
  cOxLogger& operator<<(std::ostream& (*)(std::ostream&)) { return sendLineFeed(); }
  cOxLogger& operator<<(std::ios& (*)(std::ios&)) { return sendLineFeed(); }
  cOxLogger& operator<<(std::ios_base& (*)(std::ios_base&)) { return sendLineFeed(); }
  // Takes long, int, short and their unsigned forms, const char*, char, double, bool and cOxString.
  // The value is formatted as a standard stream does it by default.
  template<class Value>
  cOxLogger& operator<<(const Value& value) {
    std::ostringstream stream;
    stream << value;
    return *this << stream.str();
  }

private:
  cOxLogger& sendLineFeed() { return *this << std::string("\n"); }

  cOxLoggerCallBack* callBack_ = nullptr;
  bool bufferEnabled_ = false;
  std::vector<oxLogger::cBufferedMessages> bufferedMessages_;
  unsigned long level_ = 6;
};

} // namespace ox3
