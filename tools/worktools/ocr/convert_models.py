#!/usr/bin/python3
"""Rewrites the PaddleOCR ONNX exports into graphs OpenCV 4.6's ONNX importer reads correctly.

usage: convert_models.py KIND IN OUT   (KIND: det, cls or rec)
"""
import sys

import numpy as np
import onnx
from onnx import helper, numpy_helper


def constants_to_initialisers(graph):
    # The importer handles Add/Mul operands reliably only when they are initialisers.
    kept = []
    for node in graph.node:
        if node.op_type == 'Constant':
            arr = numpy_helper.to_array(node.attribute[0].t)
            graph.initializer.append(numpy_helper.from_array(arr, node.output[0]))
        else:
            kept.append(node)
    del graph.node[:]
    graph.node.extend(kept)


def initialisers(graph):
    return {t.name: numpy_helper.to_array(t) for t in graph.initializer}


def clip_inputs_to_attributes(graph):
    # Clip from opset 11 takes its bounds as inputs, which the importer cannot parse.
    init = initialisers(graph)
    for node in graph.node:
        if node.op_type != 'Clip' or len(node.input) < 2:
            continue
        bounds = list(node.input[1:])
        del node.input[1:]
        if bounds[0]:
            node.attribute.append(helper.make_attribute('min', float(init[bounds[0]])))
        if len(bounds) > 1 and bounds[1]:
            node.attribute.append(helper.make_attribute('max', float(init[bounds[1]])))


def constant_reshape_targets(graph):
    # Targets built by Shape->Slice->Concat are refused; a constant target with 0 (copy the
    # batch size) and -1 (the one dynamic length) says the same.
    init = initialisers(graph)
    sym = {}  # tensor name -> list of ints or (source, index) symbols
    for node in graph.node:
        ins = node.input
        if node.op_type == 'Shape':
            sym[node.output[0]] = [(ins[0], i) for i in range(8)]
        elif node.op_type == 'Cast' and (ins[0] in sym or ins[0] in init):
            sym[node.output[0]] = sym[ins[0]] if ins[0] in sym else [int(v) for v in init[ins[0]].flatten()]
        elif node.op_type == 'Slice' and ins[0] in sym:
            at = {a.name: helper.get_attribute_value(a) for a in node.attribute}
            sym[node.output[0]] = sym[ins[0]][at['starts'][0]:at['ends'][0]]
        elif node.op_type == 'Concat' and all(i in sym or i in init for i in ins):
            parts = []
            for i in ins:
                parts += sym[i] if i in sym else [int(v) for v in init[i].flatten()]
            sym[node.output[0]] = parts
        elif node.op_type == 'Reshape' and ins[1] in sym:
            target = []
            for pos, d in enumerate(sym[ins[1]]):
                if isinstance(d, int):
                    target.append(d)
                elif d[1] == pos and (pos == 0 or d[0] == ins[0]):
                    target.append(0)
                else:
                    target.append(-1)
            if target.count(-1) > 1:
                raise SystemExit('reshape %s: more than one unknown length %s' % (node.name, target))
            name = node.output[0] + '_target'
            graph.initializer.append(numpy_helper.from_array(np.array(target, np.int64), name))
            node.input[1] = name


def layer_norms_as_matmuls(graph):
    # ReduceMean over the last axis and the gamma Mul on 3-D data compute wrong values in
    # the importer; a MatMul by a constant averaging matrix / diagonal gives the same result.
    init = initialisers(graph)
    producer = {o: n for n in graph.node for o in n.output}
    gammas = []
    for node in graph.node:
        if node.op_type == 'Mul' and node.input[1] in init and init[node.input[1]].ndim == 1 \
                and init[node.input[1]].size > 1 and producer.get(node.input[0]) is not None \
                and producer[node.input[0]].op_type == 'Div':
            gamma = init[node.input[1]].astype(np.float32)
            name = node.output[0] + '_diag'
            graph.initializer.append(numpy_helper.from_array(np.diag(gamma), name))
            node.op_type = 'MatMul'
            node.input[1] = name
            gammas.append(gamma.size)
    if not gammas:
        return
    width = gammas[0]
    assert all(g == width for g in gammas), gammas
    avg = numpy_helper.from_array(np.full((width, width), 1.0 / width, np.float32), 'zr_layer_norm_mean')
    graph.initializer.append(avg)
    for node in graph.node:
        if node.op_type == 'ReduceMean':
            at = {a.name: helper.get_attribute_value(a) for a in node.attribute}
            if list(at.get('axes', [])) == [-1] and at.get('keepdims', 1) == 1:
                node.op_type = 'MatMul'
                del node.attribute[:]
                node.input.append(avg.name)


def declare_input_shape(graph, dims):
    # The importer works out broadcasting from the declared input shape; with dynamic
    # dimensions it misjudges the LayerNorm division. Other sizes still run afterwards.
    shape = graph.input[0].type.tensor_type.shape
    for dim, value in zip(shape.dim, dims):
        dim.Clear()
        dim.dim_value = value


def squeezes_as_reshapes(model, dims, wide_axis):
    # With a declared input shape the importer bakes the Squeeze output size in; a Reshape to
    # a constant target with -1 on the length that follows the input width keeps it dynamic.
    shapes = []
    for extra in (0, 32):
        probe = onnx.ModelProto()
        probe.CopyFrom(model)
        sized = list(dims)
        sized[wide_axis] += extra
        declare_input_shape(probe.graph, sized)
        inferred = onnx.shape_inference.infer_shapes(probe).graph.value_info
        shapes.append({v.name: [d.dim_value for d in v.type.tensor_type.shape.dim] for v in inferred})
    for node in model.graph.node:
        if node.op_type != 'Squeeze':
            continue
        narrow, wide = shapes[0][node.output[0]], shapes[1][node.output[0]]
        target = [-1 if a != b else a for a, b in zip(narrow, wide)]
        if target.count(-1) > 1 or 0 in narrow:
            raise SystemExit('squeeze %s: cannot fix its output %s' % (node.name, target))
        name = node.output[0] + '_target'
        model.graph.initializer.append(numpy_helper.from_array(np.array(target, np.int64), name))
        node.op_type = 'Reshape'
        del node.attribute[:]
        node.input.append(name)


def consumers_of(graph):
    users = {}
    for node in graph.node:
        for name in node.input:
            users.setdefault(name, []).append(node)
    for out in graph.output:
        users.setdefault(out.name, []).append(None)
    return users


def rename_input(graph, old, new):
    for node in graph.node:
        for k, name in enumerate(node.input):
            if name == old:
                node.input[k] = new


def scalar_operand(node, init):
    # The constant operand of a Mul/Add/Div and the other input, or None.
    for k in (0, 1):
        other = node.input[1 - k]
        if node.input[k] in init and other not in init:
            return init[node.input[k]], other
    return None


def fold_into_convs(graph):
    # Every conv is followed by a learned scalar affine (Mul, then Add); run without layer
    # fusion that is two extra passes over the feature map, so it goes into the weights.
    init = initialisers(graph)
    tensors = {t.name: t for t in graph.initializer}
    folded = 0
    changed = True
    while changed:
        changed = False
        users = consumers_of(graph)
        for conv in graph.node:
            if conv.op_type != 'Conv' or conv.input[1] not in tensors:
                continue
            after = users.get(conv.output[0], [])
            if len(after) != 1 or after[0] is None or after[0].op_type not in ('Mul', 'Add'):
                continue
            op = after[0]
            found = scalar_operand(op, init)
            if found is None or found[0].size != 1:
                continue
            value = float(found[0].flatten()[0])
            weight = numpy_helper.to_array(tensors[conv.input[1]]).astype(np.float32)
            if len(conv.input) > 2 and conv.input[2]:
                bias = numpy_helper.to_array(tensors[conv.input[2]]).astype(np.float32)
            else:
                bias = np.zeros(weight.shape[0], np.float32)
            if op.op_type == 'Mul':
                weight, bias = weight * value, bias * value
            else:
                bias = bias + value
            folded += 1
            wname, bname = '%s_w%d' % (conv.output[0], folded), '%s_b%d' % (conv.output[0], folded)
            for name, arr in ((wname, weight), (bname, bias)):
                t = numpy_helper.from_array(arr.astype(np.float32), name)
                graph.initializer.append(t)
                tensors[name] = t
                init[name] = arr
            del conv.input[1:]
            conv.input.extend([wname, bname])
            rename_input(graph, op.output[0], conv.output[0])
            for out in graph.output:
                if out.name == op.output[0]:
                    out.name = conv.output[0]
            graph.node.remove(op)
            changed = True
            break


def unit_multiplies(graph):
    init = initialisers(graph)
    for node in list(graph.node):
        if node.op_type == 'Mul':
            found = scalar_operand(node, init)
            if found is not None and found[0].size == 1 and float(found[0].flatten()[0]) == 1.0 \
                    and node.output[0] not in {o.name for o in graph.output}:
                rename_input(graph, node.output[0], found[1])
                graph.node.remove(node)


def split_depthwise_5x5(graph):
    # OpenCV 4.6 has a fast path for 3x3 depthwise convolutions only; a 5x5 one runs about
    # twenty times slower. It equals the sum of four 3x3 ones over the kernel's corners,
    # each shifted into place by its padding, which run much faster together.
    tensors = {t.name: t for t in graph.initializer}
    corners = ((0, 0, [2, 2, 0, 0]), (0, 2, [2, 0, 0, 2]), (2, 0, [0, 2, 2, 0]), (2, 2, [0, 0, 2, 2]))
    for conv in list(graph.node):
        if conv.op_type != 'Conv' or conv.input[1] not in tensors:
            continue
        at = {a.name: helper.get_attribute_value(a) for a in conv.attribute}
        weight = numpy_helper.to_array(tensors[conv.input[1]]).astype(np.float32)
        channels = weight.shape[0]
        if weight.shape[1:] != (1, 5, 5) or at.get('group', 1) != channels \
                or list(at.get('pads', [])) != [2, 2, 2, 2] or any(d != 1 for d in at.get('dilations', [1, 1])):
            continue
        bias = conv.input[2] if len(conv.input) > 2 else ''
        taken = np.zeros((5, 5), bool)
        parts = []
        position = list(graph.node).index(conv)
        for k, (row, col, pads) in enumerate(corners):
            kernel = np.zeros((channels, 1, 3, 3), np.float32)
            for i in range(3):
                for j in range(3):
                    if not taken[row + i, col + j]:
                        kernel[:, :, i, j] = weight[:, :, row + i, col + j]
                        taken[row + i, col + j] = True
            name = '%s_corner%d' % (conv.output[0], k)
            graph.initializer.append(numpy_helper.from_array(kernel, name + '_w'))
            inputs = [conv.input[0], name + '_w'] + ([bias] if bias and k == 0 else [])
            graph.node.insert(position + k, helper.make_node(
                'Conv', inputs, [name], group=channels, kernel_shape=[3, 3], pads=pads,
                strides=list(at.get('strides', [1, 1]))))
            parts.append(name)
        graph.node.insert(position + 4, helper.make_node('Sum', parts, [conv.output[0]]))
        graph.node.remove(conv)


def drop_unused(graph):
    needed = {o.name for o in graph.output}
    kept = []
    for node in reversed(graph.node):
        if any(o in needed for o in node.output):
            kept.append(node)
            needed.update(i for i in node.input if i)
    del graph.node[:]
    graph.node.extend(reversed(kept))
    inits = [t for t in graph.initializer if t.name in needed]
    del graph.initializer[:]
    graph.initializer.extend(inits)


def main():
    kind, src, dst = sys.argv[1:4]
    model = onnx.load(src)
    graph = model.graph
    constants_to_initialisers(graph)
    clip_inputs_to_attributes(graph)
    constant_reshape_targets(graph)
    unit_multiplies(graph)
    fold_into_convs(graph)
    split_depthwise_5x5(graph)
    if kind == 'rec':
        layer_norms_as_matmuls(graph)
        squeezes_as_reshapes(model, [1, 3, 48, 320], 3)
        declare_input_shape(graph, [1, 3, 48, 320])
    elif kind == 'cls':
        declare_input_shape(graph, [1, 3, 48, 192])
    drop_unused(graph)
    onnx.save(model, dst)


if __name__ == '__main__':
    main()
