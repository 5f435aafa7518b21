"""Writes the shipped style networks (and, with --test, two tiny test networks).

Every network takes and gives a 1x3xHxW BGR picture in 0..255. Outputs are clipped to
1..255: the style filter takes an output with any value below 1.0 for a 0..1 picture.
Every Conv names its kernel_shape, which OpenCV 4.6's importer needs; opset 10 keeps
Clip's bounds as attributes, which that importer also reads.
"""
import sys

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper


class Graph:
    def __init__(self):
        self.nodes, self.inits, self.count = [], [], 0

    def name(self, prefix):
        self.count += 1
        return f"{prefix}{self.count}"

    def const(self, array):
        n = self.name("w")
        self.inits.append(numpy_helper.from_array(np.asarray(array, dtype=np.float32), n))
        return n

    def conv(self, x, weight, bias, group=1):
        weight = np.asarray(weight, dtype=np.float32)
        k = weight.shape[2]
        if k > 1:  # mirrored borders: zero padding would draw a frame round the picture
            p = k // 2
            x = self.op("Pad", [x], mode="reflect", pads=[0, 0, p, p, 0, 0, p, p])
        out = self.name("conv")
        self.nodes.append(helper.make_node(
            "Conv", [x, self.const(weight), self.const(bias)], [out], kernel_shape=[k, k],
            pads=[0, 0, 0, 0], strides=[1, 1], group=group))
        return out

    def op(self, kind, inputs, **attrs):
        out = self.name(kind.lower())
        self.nodes.append(helper.make_node(kind, inputs, [out], **attrs))
        return out

    def save(self, last, path, doc):
        self.nodes.append(helper.make_node("Identity", [last], ["output"]))
        shape = [1, 3, "height", "width"]
        graph = helper.make_graph(self.nodes, doc, [helper.make_tensor_value_info("input", TensorProto.FLOAT, shape)],
                                  [helper.make_tensor_value_info("output", TensorProto.FLOAT, shape)], self.inits)
        model = helper.make_model(graph, producer_name="zrworklib", opset_imports=[helper.make_opsetid("", 10)])
        model.ir_version = 5
        model.doc_string = doc
        onnx.checker.check_model(model)
        onnx.save(model, path)


GREY = [0.114, 0.587, 0.299]  # B, G, R weights
SOBEL_X = np.array([[-1, 0, 1], [-2, 0, 2], [-1, 0, 1]], dtype=np.float32)


def mix(matrix):
    """A 1x1 convolution weight from an out x in matrix."""
    m = np.asarray(matrix, dtype=np.float32)
    return m.reshape(m.shape[0], m.shape[1], 1, 1)


def edges(g, grey):
    """|Sobel x| + |Sobel y| of a one-channel tensor."""
    sobel = g.conv(grey, np.stack([SOBEL_X, SOBEL_X.T])[:, None], [0, 0])
    return g.conv(g.op("Abs", [sobel]), mix([[1, 1]]), [0])


def sepia(path):
    g = Graph()
    toned = g.conv("input", mix([[0.131, 0.534, 0.272], [0.168, 0.686, 0.349], [0.189, 0.769, 0.393]]), [0, 0, 0])
    g.save(g.op("Clip", [toned], min=1.0, max=255.0), path, "sepia tone")


def sketch(path):
    g = Graph()
    grey = g.conv("input", mix([GREY]), [0])
    soft = g.conv(grey, np.full((1, 1, 3, 3), 1 / 9.0), [0])
    both = g.op("Concat", [soft, edges(g, soft)], axis=1)
    # Pencil strokes on warm paper, with a little of the shading kept.
    paper = g.conv(both, mix([[0.3, -0.7]] * 3), [168, 173, 178])
    g.save(g.op("Clip", [paper], min=1.0, max=255.0), path, "pencil sketch")


def cartoon(path, levels=5, sharpness=0.12):
    g = Graph()
    k = np.outer([1, 4, 6, 4, 1], [1, 4, 6, 4, 1]).astype(np.float32) / 256.0
    smooth = g.conv("input", np.stack([k[None]] * 3), [0, 0, 0], group=3)
    # Posterise each channel: a sum of steep steps, one per level boundary.
    step = 255.0 / (levels - 1)
    bounds = [(i + 0.5) * step for i in range(levels - 1)]
    w = np.full((3 * len(bounds), 1, 1, 1), sharpness, dtype=np.float32)
    b = [-sharpness * t for t in bounds] * 3
    steps = g.op("Sigmoid", [g.conv(smooth, w, b, group=3)])
    flat = g.conv(steps, np.full((3, len(bounds), 1, 1), step, dtype=np.float32), [0, 0, 0], group=3)
    # Dark outlines where the edges are strong.
    grey = g.conv(smooth, mix([GREY]), [0])
    outline = g.op("Relu", [g.conv(edges(g, grey), mix([[1]]), [-90])])
    inked = g.conv(g.op("Concat", [flat, outline], axis=1), mix([[1, 0, 0, -1.5], [0, 1, 0, -1.5], [0, 0, 1, -1.5]]),
                   [0, 0, 0])
    g.save(g.op("Clip", [inked], min=1.0, max=255.0), path, "posterised cartoon")


def identity(path):
    g = Graph()
    g.save(g.conv("input", mix(np.eye(3)), [0, 0, 0]), path, "identity")


def invert(path):
    g = Graph()
    g.save(g.conv("input", mix(-np.eye(3)), [255, 255, 255]), path, "invert")


if __name__ == "__main__":
    out = sys.argv[1]
    makers = [identity, invert] if "--test" in sys.argv else [sepia, sketch, cartoon]
    for make in makers:
        make(f"{out}/{make.__name__}.onnx")
