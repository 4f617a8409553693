// messages.cpp: standard output, standard error and the messages shown at exit.
#include "core/messages.h"

#include <cstdarg>
#include <cstdio>

#include "core/launch_state.h"
#include "core/run_record.h"
#include "core/text_file.h"
#include "core/timed_question.h"
#include "platform/rehearsal.h"

void print(const char *format, ...) {
  std::va_list values;
  va_start(values, format);
  print_text(platform::standard_stream::output, format_list(format, values));
  va_end(values);
}

void print_error(const char *format, ...) {
  std::va_list values;
  va_start(values, format);
  print_text(platform::standard_stream::error, format_list(format, values));
  va_end(values);
}

bool print_text(platform::standard_stream stream, std::string_view text) {
  void *handle = platform::standard_handle(stream);
  if (handle == nullptr) {
    return true;  // started without one: there is nowhere to say it
  }
  const std::string bytes = with_line_ends(text);
  return platform::write_all(handle, bytes.data(), bytes.size());
}

void add_message(const char *format, ...) {
  std::va_list values;
  va_start(values, format);
  const std::string message = format_list(format, values);
  va_end(values);
  state.message_buffer += message;
  record_message(message);
}

void fatal(int status, const char *format, ...) {
  std::va_list values;
  va_start(values, format);
  const std::string message = format_list(format, values);
  va_end(values);
  (void)print_text(platform::standard_stream::error, message);
  record_message(message);
  platform::exit_program(status);
}

void flush_messages() {
  if (state.message_buffer.empty()) {
    return;
  }
  const std::string text = std::move(state.message_buffer);
  state.message_buffer.clear();
  const std::size_t step = begin_step(step_kind::message, text);
  if (state.node_mode || platform::get_variable("RSH_USER") || rehearsal::is_on()) {
    print_text(platform::standard_stream::output, text + "\n");
  } else if (!platform::boxes_are_visible() ||
             platform::show_message_box(state.zephon_prod.value_or("Zephon"), text,
                                        ok_button | information_icon) == 0) {
    print_text(platform::standard_stream::output, with_one_line_end(text));
  }
  end_step(step, {});
}
