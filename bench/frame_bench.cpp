#include "frame_bench.h"

#include <array>
#include <functional>
#include <optional>
#include <string>

#include <benchmark/benchmark.h>

#include "allocation_counter.h"
#include "emulated_board/control.h"
#include "frame_session.h"
#include "measure.h"
#include "places.h"

namespace enhance_depth_bench {
namespace {

// So small that only the fixed cost of a frame is left.
constexpr ImageSize kTinySize{16, 16};

benchmark::Counter per_iteration(double total) { return {total, benchmark::Counter::kAvgIterations}; }

// `frame` processes one frame on a session and returns whether it succeeded.
template <typename Frame>
void measure_frames(benchmark::State& state, ImageSize size, Caches caches, Frame frame) {
  SessionRing& ring = caches == Caches::kWarm ? SessionRing::warm(size) : SessionRing::cold(size);
  FrameSession* last = &ring.next();
  bool succeeded = last->process_floor();  // untimed: the previous benchmark used other buffers
  const std::int64_t allocated_before = allocations();
  measure(
      state,
      [&] {
        last = &ring.next();
        last->vary();
      },
      [&] { succeeded = frame(*last) && succeeded; });
  const std::int64_t allocated = allocations() - allocated_before;

  const std::string fault = succeeded ? last->check() : "a frame failed";
  if (!fault.empty()) {
    state.SkipWithError(fault.c_str());
    return;
  }
  count_work(state, size.pixels(), FrameSession::kMovedBytesPerPixel);
  state.counters["allocations_per_frame"] = per_iteration(static_cast<double>(allocated));
}

void measure_parts(benchmark::State& state, ImageSize size, Caches caches) {
  struct Part {
    const char* name;
    std::function<bool(FrameSession&)> run;
    double seconds = 0.0;
  };
  std::array<Part, 5> parts{{
      {"convert_depth", [](FrameSession& session) { return session.convert_depth(), true; }},
      {"stage", [](FrameSession& session) { return session.stage_inputs(), true; }},
      {"upload", [](FrameSession& session) { return session.upload(); }},
      {"download", [](FrameSession& session) { return session.download(); }},
      {"convert_prediction", [](FrameSession& session) { return session.convert_prediction(), true; }},
  }};
  measure_frames(state, size, caches, [&](FrameSession& session) {
    bool succeeded = true;
    double start = thread_seconds();
    for (Part& part : parts) {
      succeeded = part.run(session) && succeeded;
      const double end = thread_seconds();
      part.seconds += end - start;
      start = end;
    }
    return succeeded;
  });
  for (const Part& part : parts) {
    state.counters[part.name] = per_iteration(part.seconds);
  }
}

// Drops the log lines of earlier handles, so that the log does not grow with the iterations.
void drop_log() { emulated_board::capture_log(true); }

void create(benchmark::State& state) {
  Handle handle;
  measure(
      state,
      [&] {
        handle.reset();
        drop_log();
      },
      [&] { handle = create_handle(); });
}

void reset(benchmark::State& state, ImageSize size) {
  const Handle handle = create_handle();
  measure(state, drop_log, [&] { reset_handle(handle, size); });
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(size.pixels()));
}

// The first frame of a new size brings the last buffers to that size.
void first_frame(benchmark::State& state, ImageSize size) {
  std::optional<FrameSession> session;
  bool succeeded = true;
  measure(
      state,
      [&] {
        session.reset();
        drop_log();
        session.emplace(size, FrameSession::FirstFrame::kLater);
      },
      [&] { succeeded = session->process() && succeeded; });
  if (!succeeded) {
    state.SkipWithError("a frame failed");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(size.pixels()));
}

template <typename Function>
benchmark::internal::Benchmark* add(const std::string& name, Function function) {
  return benchmark::RegisterBenchmark(name.c_str(), function)->UseManualTime();
}

template <typename Function>
void add_measured_frames(const std::string& name, ImageSize size, Caches caches, Function function) {
  add(name + place_name(size, caches), function)->Iterations(iterations_for(size, 12'000'000));
}

void add_frames(ImageSize size, Caches caches) {
  add_measured_frames("frame/library", size, caches, [=](benchmark::State& state) {
    measure_frames(state, size, caches, [](FrameSession& session) { return session.process(); });
  });
  add_measured_frames("frame/floor", size, caches, [=](benchmark::State& state) {
    measure_frames(state, size, caches, [](FrameSession& session) { return session.process_floor(); });
  });
}

}  // namespace

void register_frames() {
  add_frames(kTinySize, Caches::kWarm);
  for (const ImageSize size : kImageSizes) {
    for (const Caches caches : {Caches::kWarm, Caches::kCold}) {
      add_frames(size, caches);
      add_measured_frames("parts", size, caches,
                          [=](benchmark::State& state) { measure_parts(state, size, caches); });
    }
  }
}

void register_setup() {
  add("create", create);
  for (const ImageSize size : kImageSizes) {
    add("reset/" + size.name(), [=](benchmark::State& state) { reset(state, size); });
    // Creating a session takes far longer than its first frame.
    add("first frame/" + size.name(), [=](benchmark::State& state) {
      first_frame(state, size);
    })->Iterations(5);
  }
}

}  // namespace enhance_depth_bench
