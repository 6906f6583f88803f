package com.drel.torvel.assistant;

import java.util.Map;
import java.util.TreeMap;

/** The one-line text form of a map: escaped names and values, "name=value|name=value". */
final class PropertyMap {
    private static final String ESCAPED = "\n%=|";

    private PropertyMap() {}

    static Map<String, String> parse(String text) {
        Map<String, String> map = new TreeMap<>();
        for (int start = 0, end; start < text.length(); start = end + 1) {
            end = text.indexOf('|', start);
            end = end < 0 ? text.length() : end;
            String pair = text.substring(start, end);
            int equals = pair.indexOf('=');
            if (equals >= 0) {
                map.put(unescape(pair.substring(0, equals)), unescape(pair.substring(equals + 1)));
            }
        }
        return map;
    }

    static String format(Map<String, String> map) {
        StringBuilder text = new StringBuilder();
        for (Map.Entry<String, String> entry : new TreeMap<>(map).entrySet()) {
            if (text.length() > 0) {
                text.append('|');
            }
            escape(text, entry.getKey());
            text.append('=');
            escape(text, entry.getValue());
        }
        return text.toString();
    }

    private static void escape(StringBuilder out, String text) {
        for (int i = 0; i < text.length(); i++) {
            char c = text.charAt(i);
            if (ESCAPED.indexOf(c) < 0) {
                out.append(c);
            } else {
                out.append('%').append(Character.forDigit(c >> 4, 16)).append(Character.forDigit(c & 15, 16));
            }
        }
    }

    private static String unescape(String text) {
        if (text.indexOf('%') < 0) {
            return text;
        }
        StringBuilder out = new StringBuilder(text.length());
        for (int i = 0; i < text.length(); i++) {
            if (text.charAt(i) == '%' && i + 2 < text.length()) {
                out.append((char) (digit(text.charAt(i + 1)) << 4 | digit(text.charAt(i + 2))));
                i += 2;
            } else {
                out.append(text.charAt(i));
            }
        }
        return out.toString();
    }

    private static int digit(char c) {
        return Math.max(0, c < 128 ? Character.digit(c, 16) : 0);
    }
}
