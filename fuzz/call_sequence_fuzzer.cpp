// Any sequence of calls with any arguments that the public header allows, and many that it does not: null
// pointers, wrong sizes, products that overflow, records left in output parameters, files that are not
// engines, a board that fails.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "emulated_board/control.h"
#include "enhance_depth.h"
#include "support/temporary_directory.h"
#include "support/test_engine.h"

namespace {

void expect(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// The input, byte by byte, followed by zeros.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  bool empty() const { return size_ == 0; }
  std::uint8_t byte() {
    if (size_ == 0) {
      return 0;
    }
    --size_;
    return *data_++;
  }
  std::uint32_t word() {
    std::uint32_t word = 0;
    for (unsigned shift = 0; shift < 32; shift += 8) {
      word |= static_cast<std::uint32_t>(byte()) << shift;
    }
    return word;
  }

  // A size or a stride: a usual one, a limit, or any bits at all.
  std::int32_t number() {
    using Limits = std::numeric_limits<std::int32_t>;
    constexpr std::array<std::int32_t, 24> kNumbers{
        64,      48,  640,           480,          16,  32, 33,    17,    0,       1,
        -1,      15,  1280,          960,          961, 8,  46341, 65536, 1 << 30, 4608000,
        1000000, -64, Limits::min(), Limits::max()};
    const std::uint8_t choice = byte();
    return choice < kNumbers.size() ? kNumbers[choice] : static_cast<std::int32_t>(word());
  }
  std::string text() {
    std::string text(byte(), '\0');
    for (char& character : text) {
      character = static_cast<char>(byte());
    }
    return text.c_str();
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

const std::vector<std::string>& engine_paths() {
  static const test_support::TemporaryDirectory directory;
  static const std::vector<std::string> paths{
      directory.write("good", test_support::small_output_engine().text()),
      directory.write("three", test_support::three_tensor_engine().text()),
      directory.write("interleaved", test_support::interleaved_engine().text()),
      directory.write("whole", test_support::TestEngine{}.text()),
      directory.write("garbage", "no engine"),
      directory.write("empty", ""),
      directory / "missing",
      directory / ""};
  return paths;
}

struct Slot {
  enhance_depth_handle handle = nullptr;
  std::int32_t width = 0;  // last requested
  std::int32_t height = 0;
  bool configured = false;
};

class Session {
 public:
  explicit Session(Input input) : input_(input) { emulated_board::capture_log(true); }

  void run() {
    for (int calls = 0; calls < 64 && !input_.empty(); ++calls) {
      step();
    }
    for (Slot& slot : slots_) {
      enhance_depth_destroy(slot.handle);
    }
    for (enhance_error* error : places_) {
      enhance_delete_error(error);
    }
    expect(emulated_board::live_objects() == emulated_board::LiveObjects{});
    emulated_board::reset();
  }

 private:
  void step() {
    const std::uint8_t what = input_.byte();
    Slot& slot = slots_[input_.byte() % slots_.size()];
    switch (what % 14) {
      case 0:
        return create(slot);
      case 1:
      case 2:
        return reset(slot);
      case 3:
      case 4:
      case 5:
        return process(slot);
      case 6: {
        const std::uint32_t bits = input_.word();
        float threshold = 0;
        std::memcpy(&threshold, &bits, sizeof bits);
        return check(place(), [&](enhance_error** error) {
          return enhance_depth_set_confidence_threshold(slot.handle, threshold, error);
        });
      }
      case 7: {
        float threshold = 0;
        float* out = input_.byte() % 4 == 0 ? nullptr : &threshold;
        return check(place(), [&](enhance_error** error) {
          return enhance_depth_get_confidence_threshold(slot.handle, out, error);
        });
      }
      case 8:
        enhance_depth_set_optimization_level(slot.handle, input_.number());
        enhance_GetLastInferenceTime(slot.handle);
        return;
      case 9:
        expect(std::strlen(enhance_depth_get_last_error(slot.handle)) > 0);
        expect(std::strlen(enhance_depth_get_last_error(nullptr)) > 0);
        return;
      case 10:
        enhance_depth_destroy(slot.handle);
        slot = {};
        return;
      case 11:
        return replace_record();
      case 12: {
        static const std::vector<std::string> functions = emulated_board::all_functions();
        emulated_board::fail_call(functions[input_.byte() % functions.size()], 1 + input_.byte() % 8);
        return;
      }
      default:
        emulated_board::reset();
        emulated_board::capture_log(true);
        return;
    }
  }

  void create(Slot& slot) {
    enhance_depth_destroy(slot.handle);
    slot = {};
    const std::uint8_t choice = input_.byte();
    const std::string text = choice == 255 ? input_.text() : engine_paths()[choice % engine_paths().size()];
    const char* path = choice == 254 ? nullptr : text.c_str();
    check(place(), [&](enhance_error** error) {
      slot.handle = enhance_depth_create(path, error);
      return slot.handle != nullptr ? 1 : 0;
    });
    if (slot.handle != nullptr) {
      slot = {slot.handle, 640, 480, true};
    }
  }

  void reset(Slot& slot) {
    slot.width = input_.number();
    slot.height = input_.number();
    check(place(), [&](enhance_error** error) {
      const int result = enhance_depth_reset(slot.handle, slot.width, slot.height, error);
      slot.configured = result == 1;
      return result;
    });
  }

  // The images have exactly the configured size, so that reading beyond them is noticed.
  void process(Slot& slot) {
    const std::uint8_t wrong = input_.byte();
    const auto bit = [wrong](unsigned index) { return (wrong >> index & 1U) != 0; };
    const std::size_t pixels =
        slot.configured ? static_cast<std::size_t>(slot.width) * static_cast<std::size_t>(slot.height) : 0;
    const std::vector<std::uint8_t> rgb(pixels * 3 + (pixels == 0 ? 1 : 0));
    const std::vector<std::uint16_t> depth(pixels + (pixels == 0 ? 1 : 0), 1000);
    const auto product = static_cast<std::uint32_t>(slot.width) * static_cast<std::uint32_t>(slot.height);
    enhance_depth_input input{rgb.data(),   static_cast<std::int32_t>(product * 3),
                              depth.data(), static_cast<std::int32_t>(product * 2),
                              slot.height,  slot.width};
    if (bit(0)) {
      input.rgb = nullptr;
    }
    if (bit(1)) {
      input.depth = nullptr;
    }
    if (bit(2)) {
      input.height = input_.number();
    }
    if (bit(3)) {
      input.width = input_.number();
    }
    if (bit(4)) {
      input.rgb_stride = input_.number();
    }
    if (bit(5)) {
      input.depth_stride = input_.number();
    }
    enhance_depth_output output{};
    check(place(), [&](enhance_error** error) {
      const int result =
          enhance_depth_process(slot.handle, bit(6) ? nullptr : &input, bit(7) ? nullptr : &output, error);
      if (result == 1) {
        read_whole_images(slot, output);
      }
      return result;
    });
  }

  static void read_whole_images(const Slot& slot, const enhance_depth_output& output) {
    expect(slot.configured);
    const std::size_t pixels = static_cast<std::size_t>(slot.width) * static_cast<std::size_t>(slot.height);
    std::vector<std::uint16_t> pred(pixels);
    std::memcpy(pred.data(), output.pred, pixels * sizeof(std::uint16_t));
    expect(output.pred_stride == static_cast<std::int32_t>(pixels * 2));
    expect((output.conf != nullptr) == (output.conf_stride != 0));
    if (output.conf != nullptr) {
      std::vector<float> conf(pixels);
      std::memcpy(conf.data(), output.conf, pixels * sizeof(float));
    }
  }

  // Sometimes the host takes a record out of an output parameter, or puts one of its own there.
  void replace_record() {
    enhance_error*& error = places_[input_.byte() % places_.size()];
    enhance_delete_error(error);
    error = nullptr;
    if (input_.byte() % 2 == 0) {
      return;
    }
    const std::uint8_t nulls = input_.byte();
    const std::string text = input_.text();
    const auto argument = [&](unsigned bit) { return (nulls >> bit & 1U) != 0 ? nullptr : text.c_str(); };
    error = enhance_create_error(input_.number(), argument(0), argument(1), argument(2), input_.number());
    expect(error != nullptr && error->line == 0);
  }

  // One of two output parameters, with or without a record, or null.
  enhance_error** place() {
    const std::uint8_t choice = input_.byte();
    return choice % 4 == 3 ? nullptr : &places_[choice % places_.size()];
  }

  template <typename Call>
  static void check(enhance_error** error, const Call& call) {
    const int result = call(error);
    expect(result == 0 || result == 1);
    if (error == nullptr) {
      return;
    }
    expect((*error == nullptr) == (result == 1));
    if (*error == nullptr) {
      return;
    }
    expect((*error)->status == (*error)->error_code && (*error)->status >= 1 && (*error)->status <= 35);
    expect((*error)->line > 0);
    for (const char* text : {(*error)->message, (*error)->function, (*error)->args}) {
      expect(std::memchr(text, '\0', ENHANCE_ERROR_TEXT_SIZE) != nullptr);
    }
  }

  Input input_;
  std::array<Slot, 2> slots_;
  std::array<enhance_error*, 2> places_{};
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;  // TensorRT's errors go there
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Session(Input(data, size)).run();
  return 0;
}
