import js from '@eslint/js';
import globals from 'globals';

export default [
    js.configs.recommended,
    {
        languageOptions: { ecmaVersion: 2022, globals: { ...globals.browser, ...globals.node } },
        linterOptions: { reportUnusedDisableDirectives: 'error' },
        rules: { eqeqeq: 'error', 'no-var': 'error', 'prefer-const': ['error', { destructuring: 'all' }] },
    },
    {
        files: ['**/*worklet.js'],
        languageOptions: { globals: { sampleRate: 'readonly', registerProcessor: 'readonly' } },
    },
];
