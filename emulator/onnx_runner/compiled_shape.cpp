#include "onnx_runner/compiled_shape.h"

#include <algorithm>

#include "onnx_runner/openvino_text.h"

namespace emulated_board::nvinfer {

using nvinfer1::Dims;

CompiledShape::CompiledShape(const LoadedModel& loaded, const std::vector<Dims>& input_shapes)
    : loaded_(loaded), model_(loaded.model->clone()) {
  std::map<std::string, ov::PartialShape> shapes;
  for (std::size_t i = 0; i < loaded.inputs.size(); ++i) {
    const Dims& shape = input_shapes.at(i);
    if (loaded.inputs[i].empty()) {
      continue;
    }
    shapes.emplace(loaded.inputs[i], std::vector<ov::Dimension>(shape.d, shape.d + shape.nbDims));
  }
  model_->reshape(shapes);
  for (const std::string& name : loaded.outputs) {
    output_shapes_.push_back(to_dims(model_->output(name).get_partial_shape()).value());
  }
}

void CompiledShape::compile() {
  ports_.clear();  // of an attempt that failed
  compiled_ = loaded_.core->compile_model(model_, "CPU", loaded_.options);
  for (const std::string& name : loaded_.inputs) {
    ports_.push_back(name.empty() ? std::nullopt : std::optional(compiled_.input(name)));
  }
  for (const std::string& name : loaded_.outputs) {
    ports_.emplace_back(compiled_.output(name));
  }
  model_.reset();
}

ov::InferRequest CompiledShape::take_request() {
  const std::lock_guard lock(mutex_);
  if (idle_.empty()) {
    return compiled_.create_infer_request();
  }
  ov::InferRequest request = std::move(idle_.back());
  idle_.pop_back();
  return request;
}

void CompiledShape::run(const std::vector<BoundTensor>& tensors) {
  std::call_once(compiled_once_, [this] { compile(); });
  ov::InferRequest request = take_request();
  for (std::size_t i = 0; i < ports_.size(); ++i) {
    if (!ports_[i]) {
      continue;
    }
    const BoundTensor& tensor = tensors.at(i);
    const ov::Shape shape(tensor.shape.d, tensor.shape.d + tensor.shape.nbDims);
    request.set_tensor(*ports_[i], ov::Tensor(ports_[i]->get_element_type(), shape, tensor.data));
  }
  request.infer();
  const std::lock_guard lock(mutex_);
  idle_.push_back(std::move(request));
}

std::shared_ptr<CompiledShape> CompiledShapes::get(const std::vector<Dims>& input_shapes) {
  ShapeKey key;
  for (const Dims& shape : input_shapes) {
    key.insert(key.end(), shape.d, shape.d + shape.nbDims);
  }
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(latest_first_.begin(), latest_first_.end(),
                                  [&key](const auto& entry) { return entry.first == key; });
  if (found != latest_first_.end()) {
    latest_first_.splice(latest_first_.begin(), latest_first_, found);
  } else {
    latest_first_.emplace_front(std::move(key), std::make_shared<CompiledShape>(loaded_, input_shapes));
    if (latest_first_.size() > kKept) {
      latest_first_.pop_back();
    }
  }
  return latest_first_.front().second;
}

}  // namespace emulated_board::nvinfer
