"""Circles in directed graphs."""

import collections
import sys


def strongly_connected(graph):
    """Groups of more than one node that reach each other; Tarjan's algorithm."""
    index, low, stack, groups = {}, {}, [], []

    def visit(node):
        index[node] = low[node] = len(index)
        stack.append(node)
        for other in sorted(graph.get(node, ())):
            if other not in index:
                visit(other)
            if other in stack:
                low[node] = min(low[node], low[other])
        if low[node] == index[node]:
            group = [stack.pop()]
            while group[-1] != node:
                group.append(stack.pop())
            if len(group) > 1:
                groups.append(sorted(group))

    sys.setrecursionlimit(10000)
    for node in sorted(graph):
        if node not in index:
            visit(node)
    return groups


def as_graph(pairs):
    graph = collections.defaultdict(set)
    for origin, target in pairs:
        graph[origin].add(target)
    return graph


def shortest_circle(graph, start, group):
    """The edges of a shortest way from start back to it that stays within group."""
    ways = collections.deque([[start]])
    seen = set()
    while True:
        way = ways.popleft()
        for other in sorted(graph[way[-1]] & group):
            if other == start:
                return list(zip(way, way[1:] + [start]))
            if other not in seen:
                seen.add(other)
                ways.append(way + [other])
