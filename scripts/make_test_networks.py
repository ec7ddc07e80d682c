#!/usr/bin/python3
"""Writes small ONNX networks for the tests of the attribute models into a folder.

Two are right: each takes the mean of red, green and blue over the crop, a linear map and a softmax,
so that a test can work out their answers by hand. The others are wrong in one way each.
"""
import pathlib
import sys

import numpy
import onnx
from onnx import TensorProto, helper, numpy_helper

SIDE = 224
GENDER = "unknown_male_female"
STAFF = "other_staff"

# Rows: classes; columns: red, green, blue; then one offset for each class.
GENDER_WEIGHTS = [[0.0, 6.0, 0.0], [0.0, 0.0, 6.0], [6.0, 0.0, 0.0]]
GENDER_OFFSETS = [0.5, 0.0, 0.0]
STAFF_WEIGHTS = [[0.0, 0.0, 8.0], [4.0, 4.0, 0.0]]
STAFF_OFFSETS = [1.0, 0.0]


def network(output, weights, offsets, side=SIDE, input_type=TensorProto.FLOAT, softmax=True,
            extra_nodes=(), extra_outputs=()):
    """Mean of the planes -> weights * mean + offsets -> softmax."""
    constants = [
        numpy_helper.from_array(numpy.array(weights, dtype=numpy.float32), "weights"),
        numpy_helper.from_array(numpy.array(offsets, dtype=numpy.float32), "offsets"),
    ]
    scores = "scores" if softmax else output
    nodes = [
        helper.make_node("GlobalAveragePool", ["crop"], ["mean"]),
        helper.make_node("Flatten", ["mean"], ["rgb"], axis=1),
        helper.make_node("Gemm", ["rgb", "weights", "offsets"], [scores], transB=1),
    ]
    if softmax:
        nodes.append(helper.make_node("Softmax", [scores], [output], axis=1))
    classes = len(offsets)
    graph = helper.make_graph(
        nodes + list(extra_nodes), "mean_colour",
        [helper.make_tensor_value_info("crop", input_type, [1, 3, side, side])],
        [helper.make_tensor_value_info(output, TensorProto.FLOAT, [1, classes]),
         *extra_outputs],
        constants)
    model = helper.make_model(graph, opset_imports=[helper.make_opsetid("", 11)])
    model.ir_version = 6
    return model


def main():
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)

    def save(name, model):
        (folder / name).write_bytes(model.SerializeToString())

    gender = (GENDER_WEIGHTS, GENDER_OFFSETS)
    save("gender.onnx", network(GENDER, *gender))
    save("staff.onnx", network(STAFF, STAFF_WEIGHTS, STAFF_OFFSETS))
    save("small_input.onnx", network(GENDER, *gender, side=112))
    save("byte_input.onnx", network(GENDER, *gender, input_type=TensorProto.UINT8))
    save("other_order.onnx", network("male_female_unknown", *gender))
    save("logits.onnx", network(GENDER, *gender, softmax=False))
    save("two_outputs.onnx", network(
        GENDER, *gender,
        extra_nodes=[helper.make_node("Relu", ["rgb"], ["second"])],
        extra_outputs=[helper.make_tensor_value_info("second", TensorProto.FLOAT, [1, 3])]))
    # A branch whose result nobody asks for comes last in the file.
    save("unused_branch.onnx", network(
        GENDER, *gender, extra_nodes=[helper.make_node("Relu", ["rgb"], ["unused"])]))
    save("unknown_layer.onnx", network(
        GENDER, *gender, extra_nodes=[helper.make_node("NoSuchLayer", ["rgb"], ["unused"])]))
    # The output's declared size is not what the layers make of it.
    misdeclared = network(GENDER, GENDER_WEIGHTS + [[0.0, 0.0, 0.0]], GENDER_OFFSETS + [0.0])
    misdeclared.graph.output[0].type.tensor_type.shape.dim[1].dim_value = 3
    save("misdeclared.onnx", misdeclared)
    open_batch = network(GENDER, *gender)
    open_batch.graph.input[0].type.tensor_type.shape.dim[0].dim_param = "batch"
    save("open_batch.onnx", open_batch)
    not_finite = network(GENDER, GENDER_WEIGHTS, [float("nan"), 0.0, 0.0])
    save("not_finite.onnx", not_finite)
    # Old files list the constants among the inputs.
    listed = network(GENDER, *gender)
    for constant in listed.graph.initializer:
        listed.graph.input.append(
            helper.make_tensor_value_info(constant.name, TensorProto.FLOAT, constant.dims))
    save("listed_constants.onnx", listed)
    whole = (folder / "gender.onnx").read_bytes()
    (folder / "truncated.onnx").write_bytes(whole[:len(whole) // 2])


if __name__ == "__main__":
    main()
