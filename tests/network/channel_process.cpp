// A process with one channel. Takes the channel's name and the numbers of its pattern and its role.
// Reads one command per line and prints one line for each:
//
//   set PROPERTY VALUE      -> the result
//   send SUBJECT SIZE TEXT  -> the result. The message has the text and SIZE bytes computed from
//   it. receive TIMEOUT         -> the subject and the text, or an empty line if no message arrives
//   echo TIMEOUT            -> the parts of a message that is sent back, or 0 if none arrives
//
// A failure prints its text. A message whose bytes do not match its text prints "damaged". At the
// end of the input it deletes the channel and ends.
#include <tavrik/tavrik.hpp>

#include <exception>
#include <functional>
#include <iostream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using tavrik::Message;
using tavrik::TavrikChannel;

// Bytes that depend on the text.
std::string bytesOf(const std::string& text, std::size_t size) {
  std::mt19937 generator(static_cast<std::mt19937::result_type>(std::hash<std::string>()(text)));
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(generator());
  return bytes;
}

std::string send(TavrikChannel& channel, const std::string& subject, std::size_t size,
                 const std::string& text) {
  Message message;
  message.insertPart(0, text);
  message.insertPart(1, bytesOf(text, size));
  return std::to_string(channel.send(subject.c_str(), &message));
}

std::string receive(TavrikChannel& channel, long timeout) {
  char subject[SUBJECT_BUFFER_SIZE] = "";
  Message message;
  const int parts = channel.receive(subject, &message, timeout);
  if (parts == 0) return "";
  if (parts != 2 || message[1] != bytesOf(message[0], message[1].size())) return "damaged";
  return subject + (" " + message[0]);
}

std::string echo(TavrikChannel& channel, long timeout) {
  char subject[SUBJECT_BUFFER_SIZE] = "";
  Message message;
  if (channel.receive(subject, &message, timeout) == 0) return "0";
  return std::to_string(channel.send(subject, &message));
}

std::string run(TavrikChannel& channel, const std::string& line) {
  std::istringstream words(line);
  std::string command;
  words >> command;
  if (command == "set") {
    unsigned int property = 0;
    std::string value;
    words >> property >> value;
    return std::to_string(channel.setProperty(static_cast<channel_prop_t>(property), value));
  }
  if (command == "send") {
    std::string subject;
    std::size_t size = 0;
    std::string text;
    words >> subject >> size >> text;
    return send(channel, subject, size, text);
  }
  if (command == "receive" || command == "echo") {
    long timeout = 0;
    words >> timeout;
    return command == "echo" ? echo(channel, timeout) : receive(channel, timeout);
  }
  throw std::invalid_argument("no such command: " + line);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  tavrik_Install_Logfn([](int, const char*) {});  // keeps the lines out of the system log
  TavrikChannel channel(argv[1], static_cast<pattern_t>(std::stoul(argv[2])),
                        static_cast<role_t>(std::stoul(argv[3])));
  for (std::string line; std::getline(std::cin, line);) {
    try {
      std::cout << run(channel, line) << std::endl;
    } catch (const std::exception& failure) {
      std::cout << failure.what() << std::endl;
    }
  }
}
