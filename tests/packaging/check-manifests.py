#!/usr/bin/python3
"""Holds manifests against the published schemas, as the Python client of Kubernetes has them: every field is one that
its kind knows, of its type, and what a kind requires is there. What the kinds say of each other is looked at too.

usage: check-manifests.py <MANIFESTS
"""

import re
import sys

import kubernetes.client as schemas
import yaml

# By the group of apiVersion, as the client names its classes.
KINDS = {
    'apps/v1 Deployment': schemas.V1Deployment,
    'autoscaling/v1 HorizontalPodAutoscaler': schemas.V1HorizontalPodAutoscaler,
    'networking.k8s.io/v1 Ingress': schemas.V1Ingress,
    'policy/v1 PodDisruptionBudget': schemas.V1PodDisruptionBudget,
    'v1 ConfigMap': schemas.V1ConfigMap,
    'v1 Service': schemas.V1Service,
}
PLAIN = {'str': str, 'int': int, 'bool': bool, 'object': object}


def check(value, kind, place):
    """Whether a value is of a type, given by its name in the schemas."""
    if match := re.fullmatch(r'list\[(.*)\]', kind):
        assert isinstance(value, list), f'{place} is no list'
        for number, item in enumerate(value):
            check(item, match[1], f'{place}[{number}]')
    elif match := re.fullmatch(r'dict\(str, (.*)\)', kind):
        assert isinstance(value, dict), f'{place} is no map'
        for key, item in value.items():
            check(item, match[1], f'{place}.{key}')
    elif kind in PLAIN:
        assert isinstance(value, PLAIN[kind]), f'{place} is {value!r}, and not of type {kind}'
    else:
        check_object(value, getattr(schemas, kind), place)


def check_object(value, schema, place):
    """Whether a map is one of a kind. Its class refuses to be made without what is required."""
    assert isinstance(value, dict), f'{place} is no map'
    names = {theirs: ours for ours, theirs in schema.attribute_map.items()}
    for key, item in value.items():
        assert key in names, f'{place}.{key} is no field of {schema.__name__}'
        check(item, schema.openapi_types[names[key]], f'{place}.{key}')
    schema(**{names[key]: item for key, item in value.items()})


def main():
    """Checks what stands on standard input."""
    found = {}
    for manifest in yaml.safe_load_all(sys.stdin):
        name = f'{manifest["apiVersion"]} {manifest["kind"]}'
        assert name in KINDS, f'{name} is not expected'
        check_object(manifest, KINDS[name], manifest['kind'])
        found[manifest['kind']] = manifest
    assert len(found) == len(KINDS), f'only {sorted(found)}'

    pod = found['Deployment']['spec']['template']
    labels = pod['metadata']['labels']
    for kind, selector in (('Deployment', lambda spec: spec['selector']['matchLabels']),
                           ('PodDisruptionBudget', lambda spec: spec['selector']['matchLabels']),
                           ('Service', lambda spec: spec['selector'])):
        assert selector(found[kind]['spec']) == labels, f'{kind} selects other pods'
    ports = [port['name'] for port in pod['spec']['containers'][0]['ports']]
    assert [port['targetPort'] for port in found['Service']['spec']['ports']] == ports
    volume = pod['spec']['volumes'][0]['configMap']['name']
    assert volume == found['ConfigMap']['metadata']['name'], f'the pods read {volume}'
    assert volume != 'velmoraserviced', 'a changed configuration has the same name, and no pod would notice'
    name = found['Deployment']['metadata']['name']
    assert found['HorizontalPodAutoscaler']['spec']['scaleTargetRef']['name'] == name
    backend = found['Ingress']['spec']['rules'][0]['http']['paths'][0]['backend']['service']
    assert backend == {'name': found['Service']['metadata']['name'], 'port': {'name': ports[0]}}, backend
    grace = pod['spec']['terminationGracePeriodSeconds']
    pause = int(pod['spec']['containers'][0]['lifecycle']['preStop']['exec']['command'][1])
    assert pause < grace, 'pods are killed before they are told to end'
    print(f'{len(found)} manifests are as the schemas have them')


if __name__ == '__main__':
    main()
