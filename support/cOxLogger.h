// Where the support library's messages go: to a callback, into a buffer until there is one, or
// nowhere. A logger never prints.
#pragma once

#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace ox3 {

// Implemented by whoever wants the messages.
class cOxLoggerCallBack {
public:
  // A message that passed the filter: one line without white space around it.
  virtual void message(unsigned long code, const std::string& text) = 0;

  // What operator<< writes, as it is.
  virtual void rawText(const std::string& text) = 0;

  virtual void setInterrupted(bool interrupted) = 0;
  virtual bool checkInterrupted() = 0;
  virtual void progress() = 0;

  virtual ~cOxLoggerCallBack() = default;
};

namespace oxLogger {

struct cBufferedMessages {
  std::string text; // as the callback will get it
  unsigned long code;
};

// A message is sent when the logger's level is at least its code.
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
  explicit cOxLogger(unsigned long verbosity) : level_(verbosity) {}

  // A const logger hands a message to its callback or drops it; any other buffers it where there is
  // no callback and buffering is enabled.
  void infoMsg(const std::string& text) const { sendMsg(oxLogger::infoCode, text); }
  void infoMsg(const std::string& text) { sendMsg(oxLogger::infoCode, text); }
  void fatalErrorMsg(const std::string& text) const { sendMsg(oxLogger::fatalErrorCode, text); }
  void fatalErrorMsg(const std::string& text) { sendMsg(oxLogger::fatalErrorCode, text); }
  void errorMsg(const std::string& text) const { sendMsg(oxLogger::errorCode, text); }
  void errorMsg(const std::string& text) { sendMsg(oxLogger::errorCode, text); }
  void highWarnMsg(const std::string& text) const { sendMsg(oxLogger::highWarnCode, text); }
  void highWarnMsg(const std::string& text) { sendMsg(oxLogger::highWarnCode, text); }
  void warnMsg(const std::string& text) const { sendMsg(oxLogger::warnCode, text); }
  void warnMsg(const std::string& text) { sendMsg(oxLogger::warnCode, text); }
  void debugMsg(const std::string& text) const { sendMsg(oxLogger::debugCode, text); }
  void debugMsg(const std::string& text) { sendMsg(oxLogger::debugCode, text); }
  void noclMsg(const std::string& text) const { sendMsg(oxLogger::noclCode, text); }
  void noclMsg(const std::string& text) { sendMsg(oxLogger::noclCode, text); }
  void sendMsg(unsigned long code, const std::string& text) const;
  void sendMsg(unsigned long code, const std::string& text);

  // Both start from an empty buffer: what was buffered is lost.
  void enableBuffer();
  void disableBuffer();

  // Hands what is buffered to the callback, oldest first; keeps it where there is no callback.
  void handleBuffer();

  // Not owned; null for none. Drains the buffer.
  void setLoggerCallBack(cOxLoggerCallBack* receiver);

  // Without a callback: nothing happens, and nothing is interrupted.
  void setActionIsInterrupted(bool interrupted);
  bool checkActionIsInterrupted() const;

  // Raw text: neither filtered, nor cleaned, nor buffered.
  cOxLogger& operator<<(const std::string& text);
  // std::endl, std::flush: whichever it is, it becomes a line feed.
  cOxLogger& operator<<(std::ostream& (*manipulator)(std::ostream&));
  // A long, int, short (or the unsigned of these), const char*, char, double, bool or cOxString,
  // as a stream formats it.
  template<class Value>
  cOxLogger& operator<<(Value value) {
    std::ostringstream text;
    text << value;
    return *this << text.str();
  }

private:
  cOxLoggerCallBack* callBack_ = nullptr;
  bool bufferEnabled_ = false;
  std::vector<oxLogger::cBufferedMessages> bufferedMessages_;
  unsigned long level_ = 6;
};

} // namespace ox3
