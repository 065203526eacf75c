"""The stub for editors and type checkers matches the module. Runs on Python 3 only."""
import ast
import os

import libtavrik
from support import TestCase, main
from vocabulary_test import ARGUMENTS, ENUMERATIONS

with open(os.environ['STUB']) as stub:
    STUB = ast.parse(stub.read())


def functions(body, prefix=''):
    """Each function with the names of its arguments."""
    for node in body:
        if isinstance(node, ast.FunctionDef):
            names = [argument.arg for argument in node.args.args]
            yield prefix + node.name, names[1:] if prefix else names
        elif isinstance(node, ast.ClassDef):
            for found in functions(node.body, node.name + '.'):
                yield found


def classes():
    return dict((node.name, node) for node in STUB.body if isinstance(node, ast.ClassDef))


class Stub(TestCase):
    def test_functions_and_their_arguments(self):
        expected = dict((name, arguments) for name, arguments in ARGUMENTS.items()
                        if not isinstance(getattr(libtavrik, name, None), type))
        self.assertEqual(expected, dict(functions(STUB.body)))

    def test_arguments_with_a_default(self):
        defaults = set()
        for node in ast.walk(STUB):
            if isinstance(node, ast.FunctionDef):
                for argument, value in zip(reversed(node.args.args), reversed(node.args.defaults)):
                    defaults.add((node.name, argument.arg, ast.literal_eval(value)))
        self.assertEqual({('__init__', 'n_parts', 0), ('join', 'msghandle', 0),
                          ('sendparts', 'handle', 0), ('receive', 'timeout', -1),
                          ('receiveparts', 'timeout', -1)}, defaults)

    def test_classes_and_their_bases(self):
        expected = dict((name, [base.__name__ for base in value.__bases__ if base is not object])
                        for name, value in vars(libtavrik).items() if isinstance(value, type))
        self.assertEqual(expected, dict((name, [base.id for base in node.bases])
                                        for name, node in classes().items()))

    def test_enumerations_and_numbers(self):
        for name, members in ENUMERATIONS.items():
            self.assertEqual(set(members), set(node.target.id for node in classes()[name].body))
        self.assertEqual({'SUBJECT_BUFFER_SIZE', 'PROPERTY_BUFFER_SIZE'},
                         set(node.target.id for node in STUB.body
                             if isinstance(node, ast.AnnAssign)))


if __name__ == '__main__':
    main()
